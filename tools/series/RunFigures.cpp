#include "series/RunFigures.h"

#include "analysis/Blame.h"
#include "analysis/Chain.h"
#include "analysis/ChosenNames.h"
#include "analysis/Outcomes.h"
#include "analysis/SensorNames.h"
#include "text/TimeText.h"

#include <fmt/format.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;
using Of = Subject::Of;

// In whole microseconds, as a single run's results are told.
double wholeMicroseconds(std::chrono::nanoseconds time) {
    return millisecondsOf(floor<std::chrono::microseconds>(time));
}

// A client that is known by its thread alone has no name that another run could tell it by.
std::string clientOf(Record const& record, std::uint32_t index) {
    Record::Client const& client = record.clients[index];
    std::string name(record.textOf(client.name));
    if (!client.thread || !record.threads[*client.thread].id) return name;
    auto const thread = *record.threads[*client.thread].id;
    if (name == fmt::format("thread {}", thread)) return {};
    std::string const mark = fmt::format(" ({})", thread);
    if (name.ends_with(mark)) name.resize(name.size() - mark.size());
    return name;
}

std::string whatOf(Record const& record, Request const& request) {
    std::string what(record.textOf(request.name));
    // What a status finds on is its result, and no part of what was asked.
    if (!request.sensors || request.kind == RequestKind::Destroy) return what;
    for (int const sensor : *request.sensors) what += ' ' + sensorWord(record, sensor);
    return what;
}

// Whom an event of a service is of.
std::string serviceOf(Record const& record, Event const& event) {
    bool const is3A = event.kind == Kind::Hal3APowerOn || event.kind == Kind::Hal3APowerOff;
    std::string const of = event.sensor ? sensorWord(record, *event.sensor) : "?";
    return (is3A ? "hal3a of " : "peripheral of ") + of;
}

std::string_view callOf(Kind kind) {
    bool const isOn =
        kind == Kind::SensorPowerOn || kind == Kind::Hal3APowerOn || kind == Kind::PeripheralPowerOn;
    return isOn ? "power on" : "power off";
}

constexpr KindSet kSensorBegins{Kind::SensorPowerOn, Kind::SensorPowerOff};
constexpr KindSet kSensorEnds{Kind::SensorPowerOnDone, Kind::SensorPowerOffDone};
constexpr KindSet kServices{Kind::Hal3APowerOn, Kind::Hal3APowerOff, Kind::PeripheralPowerOn,
                            Kind::PeripheralPowerOff};
constexpr KindSet kTracing{Kind::TraceTags, Kind::TraceBegin, Kind::TraceEnd};

class Collector {
  public:
    Collector(Record const& record, ChosenNames const& chosen, RunFigures& into)
        : mRecord(record), mChosen(chosen), mInto(into) {}

    void addRequests() {
        auto const outcomes = outcomesOf(mRecord);
        auto const subjects = requestSubjectsOf(mRecord);
        std::vector<Expectation const*> expected(mRecord.requests.size());
        for (Expectation const& each : mRecord.expectations) {
            if (each.request) expected[*each.request] = &each;
        }
        for (std::size_t i = 0; i < mRecord.requests.size(); ++i) {
            Request const& request = mRecord.requests[i];
            if (request.kind == RequestKind::Sleep || !mChosen.hasRequest(request)) continue;
            Figure& figure = add(Of::Request, subjects[i].who, subjects[i].what, request.began);
            figure.subject.nth = subjects[i].nth;
            mFigures[static_cast<std::uint32_t>(i)] = mInto.figures.size() - 1;
            figure.line = request.line;
            if (request.ended) figure.ms = wholeMicroseconds(*request.ended - request.began);
            bool const endedWell = request.ended && request.result.value_or(true) && outcomes[i].isClean();
            figure.failed = expected[i] ? expected[i]->state != Expectation::State::Held : !endedWell;
        }
    }

    void addSensorCalls() {
        std::map<std::uint32_t, std::size_t> open;  // figures, by the threads that are in a call
        for (Event const& event : mRecord.events) {
            if (kSensorBegins.contains(event.kind) && event.sensor && mChosen.hasSensor(*event.sensor)) {
                Figure& figure = add(Of::Sensor, sensorWord(mRecord, *event.sensor),
                                     std::string(callOf(event.kind)), event.time);
                figure.failed = true;  // until it ends
                open[event.thread] = mInto.figures.size() - 1;
            } else if (kSensorEnds.contains(event.kind)) {
                auto const found = open.find(event.thread);
                if (found == open.end()) continue;
                Figure& figure = mInto.figures[found->second];
                figure.ms = wholeMicroseconds(event.time - mBegan[found->second]);
                figure.failed = event.number.value_or(1) == 0;
                open.erase(found);
            }
        }
    }

    // A service's answer stands in the record where its call begins. It is over when its thread goes on,
    // which a section around it tells.
    void addServiceCalls() {
        std::map<std::uint32_t, std::size_t> open;
        for (Event const& event : mRecord.events) {
            if (auto const found = open.find(event.thread); found != open.end()) {
                if (kTracing.contains(event.kind))
                    mInto.figures[found->second].ms = wholeMicroseconds(event.time - mBegan[found->second]);
                open.erase(found);
            }
            if (!kServices.contains(event.kind)) continue;
            if (event.sensor && !mChosen.hasSensor(*event.sensor)) continue;
            Figure& figure =
                add(Of::Service, serviceOf(mRecord, event), std::string(callOf(event.kind)), event.time);
            figure.failed = isRefusal(event);
            open[event.thread] = mInto.figures.size() - 1;
        }
    }

    void addExpectations() {
        for (Expectation const& each : mRecord.expectations) {
            Request const* const request = each.request ? &mRecord.requests[*each.request] : nullptr;
            bool const isChosen = request ? mChosen.hasRequest(*request) : mChosen.hasClient(each.client);
            if (!isChosen) continue;
            Figure& figure = add(Of::Expectation, clientOf(mRecord, each.client),
                                 std::string(nameOf(each.step)), request ? request->began : mRecord.end);
            figure.line = each.line;
            if (request && request->ended) figure.ms = wholeMicroseconds(*request->ended - request->began);
            figure.failed = each.state != Expectation::State::Held;
        }
    }

    // What each request waited for, and how long in all.
    void addLinks() {
        for (Chain const& chain : chainsOf(mRecord)) {
            auto const request = mFigures.find(chain.request);
            if (request == mFigures.end()) continue;
            std::string const who = textOf(mInto.figures[request->second].subject);
            for (Spent const& spent : spentOf(mRecord, chain))
                add(Of::Link, who, spent.where, chain.begin).ms = wholeMicroseconds(spent.time);
        }
    }

    // Those that the run fails for, each once.
    void addBrokenRules(std::vector<BrokenRule> const& broken) {
        std::map<std::string_view, bool> told;
        for (BrokenRule const& each : broken) {
            if (each.isWarning || std::exchange(told[each.rule->name], true)) continue;
            add(Of::Rule, {}, std::string(each.rule->name), each.time).failed = true;
        }
    }

  private:
    Figure& add(Of of, std::string who, std::string what, Instant began) {
        Figure& figure = mInto.figures.emplace_back();
        int const nth = ++mTimes[{of, who, what}];
        figure.subject = {of, std::move(who), std::move(what), nth};
        figure.beganMs = wholeMicroseconds(began - mRecord.begin);
        mBegan.push_back(began);
        return figure;
    }

    Record const& mRecord;
    ChosenNames const& mChosen;
    RunFigures& mInto;
    std::map<std::tuple<Of, std::string, std::string>, int> mTimes;
    std::vector<Instant> mBegan;                    // of each figure
    std::map<std::uint32_t, std::size_t> mFigures;  // of each request, by its index in the record
};

std::string whyFailed(Record const& record, std::vector<BrokenRule> const& broken) {
    if (record.cutOff) return "the run " + *record.cutOff;
    for (Expectation const& each : record.expectations) {
        if (each.state == Expectation::State::Held) continue;
        return fmt::format("line {}: {}: {}: {}", each.line, record.textOf(record.clients[each.client].name),
                           nameOf(each.step), record.textOf(each.unmet));
    }
    for (BrokenRule const& each : broken) {
        if (!each.isWarning) return fmt::format("{}: {}", each.rule->name, each.breach.text);
    }
    return {};
}

}  // namespace

std::string textOf(Subject const& subject) {
    std::string text = subject.who.empty() ? subject.what : subject.who + ": " + subject.what;
    if (subject.nth > 1) text += fmt::format(" ({})", subject.nth);
    return text;
}

std::vector<Subject> requestSubjectsOf(Record const& record) {
    std::map<std::pair<std::string, std::string>, int> times;
    std::vector<Subject> subjects(record.requests.size());
    for (std::size_t i = 0; i < subjects.size(); ++i) {
        Request const& request = record.requests[i];
        if (request.kind == RequestKind::Sleep) continue;
        Subject& subject = subjects[i];
        subject.who = clientOf(record, request.client);
        subject.what = whatOf(record, request);
        subject.nth = ++times[{subject.who, subject.what}];
    }
    return subjects;
}

RunFigures figuresOf(Record const& record, Strictness const& strictness, std::uint64_t run) {
    return figuresOf(record, strictness, run, {});
}

RunFigures figuresOf(Record const& record, Strictness const& strictness, std::uint64_t run,
                     Selection const& selection) {
    auto const broken = brokenRulesOf(record, strictness);
    RunFigures figures{.run = run, .verdict = verdictOn(record, broken), .why = {}, .figures = {}};
    if (figures.verdict != Verdict::Passed) figures.why = whyFailed(record, broken);
    ChosenNames const chosen(record, selection);
    Collector collector(record, chosen, figures);
    collector.addRequests();
    collector.addSensorCalls();
    collector.addServiceCalls();
    collector.addExpectations();
    collector.addLinks();
    collector.addBrokenRules(broken);
    keepBetween(selection, figures);
    return figures;
}

void keepBetween(Selection const& selection, RunFigures& run) {
    auto const milli = [](std::chrono::nanoseconds time) {
        return std::chrono::duration<double, std::milli>(time).count();
    };
    std::set<std::string> gone;  // requests, as links name them
    std::erase_if(run.figures, [&](Figure const& figure) {
        if (figure.subject.of == Of::Rule) return false;
        if (figure.subject.of == Of::Link) return gone.contains(figure.subject.who);
        bool const endsBefore =
            selection.from && figure.ms && figure.beganMs + *figure.ms < milli(*selection.from);
        bool const isOutside = endsBefore || (selection.to && figure.beganMs > milli(*selection.to));
        if (isOutside && figure.subject.of == Of::Request) gone.insert(textOf(figure.subject));
        return isOutside;
    });
}

}  // namespace zeqcam::tool

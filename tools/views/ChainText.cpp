#include "views/ChainText.h"

#include "analysis/SensorNames.h"
#include "text/TimeText.h"
#include "views/RequestText.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace zeqcam::tool {
namespace {

std::string of(Record const& record, Done const& done, std::string_view what) {
    return fmt::format("{}'s {}", done.sensor ? sensorWord(record, *done.sensor) : "a sensor", what);
}

// "power off tele of lens test"; "unknown" where nobody knows whose.
std::string otherText(Record const& record, OptionalNumber<std::uint32_t> other) {
    if (!other) return "whom is unknown";
    Request const& request = record.requests[*other];
    return fmt::format("{} of {}", requestPhrase(record, request),
                       record.textOf(record.clients[request.client].name));
}

// In a line that begins with the request, a sensor's name says enough of its call.
std::string briefText(Record const& record, Link const& link) {
    bool const isCall = link.is == Link::Is::Doing &&
                        (link.done.what == Doing::SensorOn || link.done.what == Doing::SensorOff);
    return isCall && link.done.sensor ? sensorWord(record, *link.done.sensor) : linkText(record, link);
}

constexpr std::chrono::microseconds kTold{50};  // which is told as 0.1 ms

// The links that a line tells: the slowest, and those that come near it.
std::vector<Link const*> tellingLinks(Chain const& chain) {
    constexpr std::size_t kMost = 3;
    constexpr int kShare = 10;  // of the request: a tenth
    std::vector<Link const*> links;
    for (Link const& link : chain.links) links.push_back(&link);
    std::stable_sort(links.begin(), links.end(),
                     [](Link const* left, Link const* right) { return left->time() > right->time(); });
    auto const end = std::find_if(links.begin() + 1, links.end(),
                                  [&](Link const* link) { return link->time() * kShare < chain.time(); });
    links.erase(end, links.end());
    if (links.size() > kMost) links.resize(kMost);
    return links;
}

}  // namespace

std::string requestPhrase(Record const& record, Request const& request) {
    std::string text(record.textOf(request.name));
    for (int const sensor : sensorsOf(request)) text += ' ' + sensorWord(record, sensor);
    return text;
}

std::string linkText(Record const& record, Link const& link) {
    switch (link.is) {
        case Link::Is::Doing:
            return doneText(record, link.done) + (link.isRetry ? ", tried again" : "");
        case Link::Is::PowerOnLock:
            return "the power-on lock, held by " + otherText(record, link.other);
        case Link::Is::Controller:
            return "its controller, kept by " + otherText(record, link.other);
        case Link::Is::Start:
            return of(record, link.done, "worker to begin");
        case Link::Is::Queue:
            return of(record, link.done, "task in the queue") +
                   (link.other ? ", behind " + otherText(record, link.other) : "");
        case Link::Is::Return:
            return "its thread to go on";
        case Link::Is::Sleep:
            return "a sleep";
    }
    return "?";
}

std::string withoutText(Record const& record, Chain const& chain) {
    if (chain.isOpen || !chain.slowest || !chain.without.sensor) return {};
    return fmt::format("{} without {}, by {}", millisecondsText(chain.without.time),
                       briefText(record, chain.links[*chain.slowest]),
                       sensorWord(record, *chain.without.sensor));
}

std::string retryText(Record const& record, Retry const& retry) {
    std::string const failed = fmt::format("{} failed after {}", sensorWord(record, retry.sensor),
                                           millisecondsText(retry.failedAfter));
    if (!retry.request) return failed + " and was not tried again";
    if (!retry.took) return failed + ", its retry had not ended";
    return fmt::format("{}, its retry took {}", failed, millisecondsText(*retry.took));
}

std::string chainLine(Record const& record, Chain const& chain) {
    Request const& request = record.requests[chain.request];
    std::string text = fmt::format("{} {} ms{}", requestPhrase(record, request),
                                   millisecondsText(chain.time()), chain.isOpen ? " and not ended" : "");
    if (!chain.slowest) return text;
    char const* separator = ": ";
    auto const links = tellingLinks(chain);
    for (Link const* const link : links) {
        text += separator + briefText(record, *link) + ' ' + millisecondsText(link->time());
        bool const isLate = link == links.front() && link->begin - chain.begin >= kTold;
        if (isLate) text += ", started " + millisecondsText(link->begin - chain.begin) + " after the request";
        separator = "; ";
    }
    if (auto const without = withoutText(record, chain); !without.empty()) text += "; " + without;
    for (Retry const& retry : chain.retries) text += "; " + retryText(record, retry);
    return text;
}

}  // namespace zeqcam::tool

#include "evidence/ProcessRecords.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

constexpr std::size_t kMostLosses = 1000;   // told one by one, of each file
constexpr std::size_t kMostOpen = 16;       // sections of ours in one another; the library has four
constexpr std::size_t kMostStarted = 1024;  // threads that may be ours yet
constexpr std::size_t kMostNames = 65536;

}  // namespace

Wanted ProcessRecords::wanted() {
    return {.tag = isOurTag};
}

void ProcessRecords::take(Item const& item) {
    std::visit([&](auto const& what) { take(item, what); }, item.what);
}

// ---- What is ours of it ----

Clocks::Clock ProcessRecords::clockOf(Item const& item) {
    return {item.place.file, fileOf(item).boot, item.clock};
}

std::optional<std::int32_t> ProcessRecords::processOf(Item const& item) {
    if (item.process) return item.process;
    FileState& file = fileOf(item);
    if (auto const open = file.threads.find(item.thread); open != file.threads.end())
        return open->second.process;
    auto const known = file.processes.find(item.thread);
    return known != file.processes.end() ? std::optional(known->second) : std::nullopt;
}

Sighting ProcessRecords::sightingOf(Item const& item, Sighting::What what) {
    Sighting sighting;
    sighting.time = item.time;
    sighting.clock = item.clock;
    sighting.place = item.place;
    sighting.thread = item.thread;
    sighting.what = what;
    return sighting;
}

// Lines come a little out of order. Where the wall clock was set back, what follows goes on where it was.
void ProcessRecords::followSetting(Item const& item, nanoseconds& time) {
    constexpr std::chrono::seconds kOutOfOrder{2};
    if (item.clock != ClockKind::Wall) return;
    FileState& file = fileOf(item);
    time += file.wallShift;
    if (file.lastWall && time < *file.lastWall - kOutOfOrder) {
        file.wallShift += *file.lastWall - time;
        time = *file.lastWall;
        file.losses.emplace_back(
            std::nullopt, Loss{item.place, mTexts.add("the time until here: the wall clock was set back, and "
                                                      "what follows is told as if it had gone on")});
    }
    file.lastWall = std::max(time, file.lastWall.value_or(time));
}

void ProcessRecords::keep(Item const& item, std::int32_t process, Sighting sighting) {
    FileState& file = fileOf(item);
    file.unit = std::gcd(file.unit, static_cast<std::int64_t>(item.time.count()));
    file.clock = item.clock;
    mClocks.see(clockOf(item));
    followSetting(item, sighting.time);
    if (mEnded) return pass(sighting, makerOf(process));
    Part const part{process, item.place.file, file.boot};
    auto const [kept, isNew] = mParts.try_emplace(part);
    if (isNew) mOrder.push_back(part);
    kept->second.push_back(sighting);
}

void ProcessRecords::take(Item const& item, SectionBegin const& begin) {
    FileState& file = fileOf(item);
    auto const sign = signOfSection(begin.label);
    bool const isOwn = begin.category == "request" || begin.category == "wait" || begin.category == "sensor";
    auto const process = processOf(item);
    auto const known = file.threads.find(item.thread);
    if ((!sign && !isOwn) || !process) {
        if (known != file.threads.end()) ++known->second.open.back().foreign;
        return;
    }
    bool const isFirst = known == file.threads.end();
    OpenSections& open = file.threads[item.thread];
    open.process = *process;
    if (open.open.size() == kMostOpen) {
        file.threads.erase(item.thread);
        return take(item, Lost{"sections that do not end"});
    }
    if (isFirst) keepState(item, item.thread, Scheduling::State::Running);
    file.hasSections = true;
    Sighting sighting = sightingOf(item, Sighting::What::SectionBegin);
    sighting.text = mTexts.add(begin.label);
    sighting.tag = mTexts.add(begin.category);
    sighting.values = mTexts.add(begin.values);
    sighting.saying = begin.category == "sensor" ? Saying::SensorCall
                      : isOwn                    ? Saying::ClientRequest
                                                 : sign->saying;
    open.open.push_back({sighting.text, sighting.saying});
    keep(item, *process, sighting);
}

void ProcessRecords::take(Item const& item, SectionEnd const&) {
    FileState& file = fileOf(item);
    auto const known = file.threads.find(item.thread);
    if (known == file.threads.end()) return;
    auto& open = known->second.open;
    if (open.back().foreign > 0) {
        --open.back().foreign;
        return;
    }
    Sighting sighting = sightingOf(item, Sighting::What::SectionEnd);
    sighting.text = open.back().label;
    sighting.saying = open.back().saying;
    keep(item, known->second.process, sighting);
    open.pop_back();
    if (open.empty()) {
        keepState(item, item.thread, Scheduling::State::Unknown);
        file.threads.erase(known);
        file.started.erase(item.thread);
    }
}

void ProcessRecords::take(Item const& item, LogLine const& line) {
    auto const sign = signOfLine(line.tag, line.text);
    auto const process = processOf(item);
    if (!sign || !process) return;
    Sighting sighting = sightingOf(item, Sighting::What::Line);
    sighting.text = mTexts.add(line.text);
    sighting.tag = mTexts.add(line.tag);
    sighting.level = line.level;
    sighting.saying = sign->saying;
    sighting.sensor = sign->sensor;
    sighting.isDebugPrint = sign->isDebugPrint;
    fileOf(item).hasLines = true;
    mClocks.seeLine(clockOf(item), item.time, line.text);
    keep(item, *process, sighting);
}

// ---- The scheduler ----

// Of a thread that is in a section of ours, or that one such has started.
void ProcessRecords::keepState(Item const& item, std::int32_t thread, Scheduling::State state) {
    FileState& file = fileOf(item);
    if (!file.hasSwitches) return;
    std::optional<std::int32_t> process;
    if (auto const open = file.threads.find(thread); open != file.threads.end())
        process = open->second.process;
    if (auto const started = file.started.find(thread); started != file.started.end())
        process = started->second;
    if (!process) return;
    Sighting sighting = sightingOf(item, Sighting::What::State);
    sighting.thread = thread;
    sighting.state = state;
    keep(item, *process, sighting);
}

void ProcessRecords::take(Item const& item, Switch const& change) {
    fileOf(item).hasSwitches = true;
    keepState(item, item.thread, change.left);
    if (change.left == Scheduling::State::Ended) fileOf(item).started.erase(item.thread);
    keepState(item, change.next, Scheduling::State::Running);
}

void ProcessRecords::take(Item const& item, Waking const& waking) {
    keepState(item, waking.woken, Scheduling::State::Runnable);
}

void ProcessRecords::take(Item const& item, ThreadStart const& start) {
    FileState& file = fileOf(item);
    auto const starter = file.threads.find(item.thread);
    file.started.erase(start.started);
    file.names.erase(start.started);
    if (starter == file.threads.end() || file.started.size() >= kMostStarted) return;
    file.started[start.started] = starter->second.process;
    Sighting sighting = sightingOf(item, Sighting::What::Start);
    sighting.other = start.started;
    sighting.text = mTexts.add(start.name);
    keep(item, starter->second.process, sighting);
}

// Where requests are told as they end, an arrow comes too late.
void ProcessRecords::take(Item const& item, WorkFor const& work) {
    auto const process = processOf(item);
    auto const known = process ? mParts.find({*process, item.place.file, fileOf(item).boot}) : mParts.end();
    if (known == mParts.end()) return;
    auto& kept = known->second;
    for (auto each = kept.rbegin(); each != kept.rend() && each->time == item.time; ++each) {
        bool const isWork = each->saying == Saying::WorkerSection || each->saying == Saying::TaskSection;
        bool const begins = each->what == Sighting::What::SectionBegin && each->thread == item.thread;
        if (isWork && begins) each->other = work.asking;
    }
}

void ProcessRecords::take(Item const& item, ProfilePoint const& point) {
    auto const known = fileOf(item).threads.find(item.thread);
    if (known == fileOf(item).threads.end()) return;
    Sighting sighting = sightingOf(item, Sighting::What::Profile);
    sighting.text = mTexts.add(point.label);
    keep(item, known->second.process, sighting);
}

void ProcessRecords::take(Item const& item, ThreadName const& name) {
    FileState& file = fileOf(item);
    if (file.names.size() >= kMostNames) return;
    if (!name.name.empty()) file.names[item.thread] = name.name;
    if (item.process) file.processes[item.thread] = *item.process;
}

// ---- Clocks, boots, losses ----

void ProcessRecords::take(Item const& item, ClockReading const& reading) {
    mClocks.read(clockOf(item), item.time, reading.clock, reading.shown);
}

void ProcessRecords::take(Item const& item, Boot const&) {
    FileState& file = fileOf(item);
    ++file.boot;
    file.threads.clear();
    file.started.clear();
    file.names.clear();
    file.processes.clear();
    file.wallShift = {};
    file.lastWall.reset();
}

// The ends of what is open now may be among what is lost.
void ProcessRecords::take(Item const& item, Lost const& lost) {
    FileState& file = fileOf(item);
    for (auto const& [thread, open] : file.threads) {
        if (item.clock == file.clock) keepState(item, thread, Scheduling::State::Unknown);
    }
    file.threads.clear();
    if (file.losses.size() >= kMostLosses) {
        ++file.lossesNotKept;
        return;
    }
    file.losses.emplace_back(item.process, Loss{item.place, mTexts.add(lost.what)});
}

// ---- Records ----

void ProcessRecords::pass(Sighting const& sighting, RecordMaker& maker) const {
    Sighting passed = sighting;
    for (auto* const text : {&passed.text, &passed.tag, &passed.values})
        *text = maker.texts().add(mTexts.of(*text));
    maker.see(passed);
}

RecordMaker& ProcessRecords::makerOf(std::int32_t process) {
    if (auto const known = mMakers.find(process); known != mMakers.end()) return known->second;
    mOrder.push_back({process, 0, 0});
    auto ended = [this, process](std::string_view client, Request const& request) {
        mEnded(process, client, request);
    };
    return mMakers.emplace(process, RecordMaker(process, std::move(ended))).first->second;
}

void ProcessRecords::addNames(std::vector<Part> const& parts, RecordMaker& maker) const {
    for (Part const& part : parts) {
        for (auto const& [thread, name] : mFiles.at(part.file).names) {
            if (maker.knows(thread)) maker.nameThread(thread, name);
        }
    }
}

void ProcessRecords::addLosses(std::vector<Part> const& parts, ReadProcess& read) const {
    for (Part const& part : parts) {
        FileState const& file = mFiles.at(part.file);
        for (auto const& [process, loss] : file.losses) {
            if (process && *process != part.process) continue;
            read.record.losses.push_back({loss.place, read.record.texts.add(mTexts.of(loss.text))});
            read.reach.lostLines = read.reach.lostLines || file.hasLines;
            read.reach.lostEvents = read.reach.lostEvents || file.hasSections;
        }
        if (file.lossesNotKept > 0) {
            std::string const text = std::to_string(file.lossesNotKept) + " losses more";
            read.record.losses.push_back({{0, part.file}, read.record.texts.add(text)});
        }
    }
    std::stable_sort(read.record.losses.begin(), read.record.losses.end(),
                     [](Loss const& left, Loss const& right) { return left.place < right.place; });
    read.record.shows = read.reach.shows();
}

// What all its times are multiples of. No trace is coarser than a microsecond, whatever its times happen to
// be.
nanoseconds ProcessRecords::resolutionOf(std::uint16_t file) const {
    std::int64_t const unit = mFiles.at(file).unit;
    if (mFiles.at(file).hasSections && unit % 1000 == 0) return std::chrono::microseconds(1);
    for (nanoseconds const each :
         {nanoseconds(std::chrono::milliseconds(1)), nanoseconds(std::chrono::microseconds(1))}) {
        if (unit % each.count() == 0) return each;
    }
    return nanoseconds(1);
}

ReadProcess ProcessRecords::recordOf(std::vector<Part> const& parts, std::size_t group,
                                     std::vector<File> const& files) {
    std::vector<FileSightings> all;
    nanoseconds resolution(1);
    nanoseconds end = nanoseconds::min();
    for (Part const& part : parts) {
        FileSightings file{{}, resolutionOf(part.file)};
        for (Sighting sighting : mParts.at(part)) {
            auto const fit = mClocks.fitOf({part.file, part.boot, sighting.clock});
            if (fit.group != group) continue;
            sighting.time += fit.add;
            end = std::max(end, sighting.time);
            file.sightings.push_back(sighting);
        }
        if (file.sightings.empty()) continue;
        resolution = std::max(resolution, file.resolution);
        all.push_back(std::move(file));
    }
    RecordMaker maker(parts.front().process);
    for (Sighting const& sighting : interleave(std::move(all))) pass(sighting, maker);
    addNames(parts, maker);
    ReadProcess read = maker.finish(end);
    read.record.clock = mClocks.clockOf(group).kind;
    read.record.toWallClock = mClocks.toWallClock(group);
    read.record.resolution = resolution;
    for (File const& file : files) read.record.files.push_back(file.name);
    addLosses(parts, read);
    return read;
}

std::vector<ReadProcess> ProcessRecords::finish(std::vector<File> const& files) {
    std::vector<ReadProcess> all;
    std::vector<Clocks::File> clocks(files.size());
    for (std::size_t index = 0; index < files.size(); ++index)
        clocks[index] = {mFiles[static_cast<std::uint16_t>(index)].boot + 1, files[index].isWallTimeKnown};
    mClocks.fit(clocks);
    if (mEnded) {
        for (Part const& part : mOrder) {
            RecordMaker& maker = mMakers.at(part.process);
            addNames({part}, maker);
            ReadProcess& read = all.emplace_back(maker.finish(nanoseconds::min()));
            read.record.files = {files.front().name};
            read.record.clock = mFiles[0].clock;
            read.record.resolution = resolutionOf(0);
            addLosses({part}, read);
        }
        return all;
    }
    // The parts of one process in one boot, which the files count from their ends.
    std::set<Part> done;
    for (Part const& first : mOrder) {
        if (done.contains(first)) continue;
        std::vector<Part> parts;
        std::set<std::size_t> groups;
        for (auto const& [part, sightings] : mParts) {
            bool const isSameBoot =
                clocks[part.file].boots - part.boot == clocks[first.file].boots - first.boot;
            if (part.process != first.process || !isSameBoot) continue;
            parts.push_back(part);
            done.insert(part);
            for (Sighting const& each : sightings)
                groups.insert(mClocks.fitOf({part.file, part.boot, each.clock}).group);
        }
        for (std::size_t const group : groups) {
            ReadProcess& read = all.emplace_back(recordOf(parts, group, files));
            if (groups.size() > 1)
                read.notes.insert(read.notes.begin(),
                                  "nothing says how the clocks of the files fit: this is what the " +
                                      std::string(nameOf(mClocks.clockOf(group).kind)) + " clock of " +
                                      files[mClocks.clockOf(group).file].name +
                                      " tells; nothing is laid over it");
        }
    }
    return all;
}

}  // namespace zeqcam::tool

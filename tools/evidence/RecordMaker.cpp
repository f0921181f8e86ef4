#include "evidence/RecordMaker.h"

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

// Of one sighting: its own events, those that follow from it, and the reply to a request that it was the last
// sign of.
constexpr std::uint64_t kStep = 8;
constexpr std::uint64_t kReply = 5;

std::int64_t levelOf(Kind kind, char letter) {
    struct Numbers {
        char letter;
        std::int64_t unified;
        std::int64_t debugPrint;
        std::int64_t android;
    };
    constexpr std::array kNumbers{Numbers{'E', 1, 1, 6}, Numbers{'W', 2, 2, 5}, Numbers{'I', 3, 3, 4},
                                  Numbers{'D', 5, 0, 3}, Numbers{'V', 5, 0, 2}, Numbers{'F', 1, 1, 7}};
    for (auto const& [each, unified, debugPrint, android] : kNumbers) {
        if (each == letter)
            return kind == Kind::UnifiedLog ? unified : kind == Kind::DebugPrint ? debugPrint : android;
    }
    return 0;
}

// The library's own text, without what the debug print sets before it and behind it.
std::string_view bare(std::string_view text) {
    auto const at = text.find("() ");
    if (at != std::string_view::npos) text.remove_prefix(at + 3);
    auto const end = text.rfind(" (");
    return text.ends_with('}') && end != std::string_view::npos ? text.substr(0, end) : text;
}

}  // namespace

RecordMaker::RecordMaker(std::int32_t process, Ended ended) : mEnded(std::move(ended)) {
    mRecord.process = process;
}

void RecordMaker::nameThread(std::int32_t thread, std::string_view name) {
    if (!name.empty()) mNames[thread] = mRecord.texts.add(name);
}

void RecordMaker::see(Sighting const& sighting) {
    mOrder += kStep;
    mNow = std::max(mNow, Instant(sighting.time));
    if (mOrder == kStep) mRecord.begin = mNow = Instant(sighting.time);
    mPlace = sighting.place;
    if (sighting.what == Sighting::What::Start) return seeStart(sighting);
    ThreadState& thread = threadOf(sighting.thread);
    switch (sighting.what) {
        case Sighting::What::SectionBegin:
            return seeBegin(thread, sighting);
        case Sighting::What::SectionEnd:
            return seeEnd(thread);
        case Sighting::What::Line:
            return seeLine(thread, sighting);
        case Sighting::What::Profile:
            add(thread, Kind::ProfileMark).text = sighting.text;
            return;
        default:
            mReach.scheduling = true;
            mRecord.scheduling.push_back({mNow, thread.index, sighting.state});
    }
}

// ---- Threads and events ----

RecordMaker::ThreadState& RecordMaker::threadOf(std::int32_t id) {
    auto const known = mThreads.find(id);
    return known != mThreads.end() ? known->second : newThread(id);
}

RecordMaker::ThreadState& RecordMaker::newThread(std::int32_t id) {
    ThreadState& thread = mThreads[id] = {};
    thread.id = id;
    thread.index = static_cast<std::uint32_t>(mRecord.threads.size());
    mRecord.threads.push_back({.id = id});
    return thread;
}

// The kernel gives an ended thread's id to another one.
void RecordMaker::seeStart(Sighting const& sighting) {
    mReach.starts = true;
    ThreadState const& starter = threadOf(sighting.thread);
    std::uint32_t const startedBy = starter.index;
    auto const startedFor = starter.request;
    ThreadState& started = newThread(sighting.other);
    started.startedFor = startedFor;
    mRecord.threads[started.index].startedBy = startedBy;
    mRecord.threads[started.index].name = sighting.text;
}

Event& RecordMaker::add(ThreadState const& thread, Kind kind) {
    return addAt(mOrder, mNow, thread, kind);
}

Event& RecordMaker::addAt(std::uint64_t order, Instant time, ThreadState const& thread, Kind kind) {
    Event event;
    event.time = time;
    event.thread = thread.index;
    event.place = mPlace;
    event.kind = kind;
    event.request = thread.request;
    if (!thread.request && thread.work) event.request = thread.work->request;
    return mEvents.emplace_back(Ordered{event, order}).event;
}

// ---- Lines ----

void RecordMaker::reach(Sighting const& sighting) {
    switch (sighting.saying) {
        case Saying::PowerOnBegins:
        case Saying::PowerOnEnds:
        case Saying::AllUp:
        case Saying::PowerOffBegins:
        case Saying::PowerOffEnds:
            mReach.infoLines = true;
            break;
        case Saying::LockTaken:
        case Saying::LockNotTaken:
        case Saying::Admitted:
        case Saying::Skipped:
        case Saying::WorkerBegins:
        case Saying::RecordMade:
        case Saying::RecordFiled:
        case Saying::LockReleased:
            mReach.debugLines = true;
            break;
        default:
            break;
    }
}

// Both logs may have the line, the debug print's first.
bool RecordMaker::repeats(ThreadState& thread, Sighting const& sighting) const {
    TextId const before = std::exchange(thread.debugPrint, TextId::Empty);
    if (sighting.isDebugPrint) {
        thread.debugPrint = sighting.text;
        return false;
    }
    return before != TextId::Empty && bare(mRecord.textOf(before)) == mRecord.textOf(sighting.text);
}

void RecordMaker::addLine(ThreadState const& thread, Sighting const& sighting) {
    Kind const kind = sighting.saying == Saying::Hint ? Kind::AndroidLog
                      : sighting.isDebugPrint         ? Kind::DebugPrint
                                                      : Kind::UnifiedLog;
    Event& event = add(thread, kind);
    event.number = levelOf(kind, sighting.level);
    event.text = sighting.tag;
    event.shown = sighting.text;
}

// A trace of our own tells requests and work whole, and lines of one instant behind all sections of it.
bool RecordMaker::isToldWhole(ThreadState const& thread, Sighting const& sighting) const {
    bool const isInTold = thread.work || (thread.request && mDrafts[*thread.request].isTold);
    return mReach.ownTrace && (sighting.tag == TextId::Empty || isInTold);
}

void RecordMaker::seeLine(ThreadState& thread, Sighting const& sighting) {
    reach(sighting);
    if (isToldWhole(thread, sighting)) {
        bool const isNamed = sighting.saying == Saying::WorkerBegins && thread.lastWorked < 0;
        if (isNamed && sighting.sensor) mSensorIds.emplace(thread.lastWorked, *sighting.sensor);
        return addLine(thread, sighting);
    }
    if (repeats(thread, sighting)) return addLine(thread, sighting);
    seeRequestLine(thread, sighting);
    seeWorkLine(thread, sighting);
    addLine(thread, sighting);
    seeAfterLine(thread, sighting.saying, sighting.sensor);
    touch(thread);
    Draft const* const draft = thread.request ? &mDrafts[*thread.request] : nullptr;
    bool const isOfSensors = draft != nullptr && (draft->request.kind == RequestKind::PowerOn ||
                                                  draft->request.kind == RequestKind::PowerOff);
    // A section of the request, if there is one, ends behind its last line.
    if (isOfSensors && draft->isOver && !draft->isTold && thread.open.empty()) close(thread);
}

// What a line tells of a request, on its thread.
void RecordMaker::seeRequestLine(ThreadState& thread, Sighting const& sighting) {
    std::int32_t const sensor = sighting.sensor.value_or(0);
    switch (sighting.saying) {
        case Saying::LockTaken:
        case Saying::LockNotTaken:
            if (Draft const* const open = openDraft(thread, RequestKind::PowerOn); !open || !open->isTold)
                newDraft(thread, RequestKind::PowerOn);
            break;
        case Saying::Admitted:
            addNamed(thread, sensor).admitted.push_back(sensor);
            break;
        case Saying::Skipped:
        case Saying::NotDriven:
            addNamed(thread, sensor);
            break;
        case Saying::PowerOnBegins:
            draftOf(thread, RequestKind::PowerOn, &Draft::hasLine);
            break;
        case Saying::PowerOffBegins:
            draftOf(thread, RequestKind::PowerOff, &Draft::hasLine);
            break;
        case Saying::StillInList: {
            Draft* const open = openDraft(thread, RequestKind::Destroy);
            Draft& draft = open ? *open : newDraft(thread, RequestKind::Destroy);
            auto& sensors = draft.request.sensors;
            if (!sensors) sensors.emplace();
            if (!draft.isTold) sensors->push_back(sensor);
            break;
        }
        default:
            break;
    }
}

// Adds a sensor that an admission line names to its power-on.
RecordMaker::Draft& RecordMaker::addNamed(ThreadState& thread, std::int32_t sensor) {
    Draft* const open = openDraft(thread, RequestKind::PowerOn);
    Draft& draft = open && !open->works() ? *open : newDraft(thread, RequestKind::PowerOn);
    draft.tellsNames = true;
    if (!draft.request.sensors) draft.request.sensors.emplace();
    draft.request.sensors->push_back(sensor);
    return draft;
}

// What a line tells of a worker, on its thread.
void RecordMaker::seeWorkLine(ThreadState& thread, Sighting const& sighting) {
    std::int32_t const sensor = sighting.sensor.value_or(0);
    if (sighting.saying == Saying::WorkerBegins) beginWork(thread, Saying::WorkerSection, sensor, false);
    if (sighting.saying != Saying::SensorFailed) return;
    if (!thread.work) beginWork(thread, Saying::WorkerSection, sensor, false);
    addCallEnd(thread, 0);
}

void RecordMaker::seeAfterLine(ThreadState& thread, Saying saying, std::optional<std::int32_t> sensor) {
    Draft* const draft = thread.request ? &mDrafts[*thread.request] : nullptr;
    auto const trace = [&](Kind kind, std::int64_t number) {
        Event& event = add(thread, kind);
        event.number = number;
        if (kind == Kind::SensorCreate) event.sensor = sensor;
    };
    switch (saying) {
        case Saying::PowerOnBegins:
            add(thread, Kind::ProfileBegin).text = mRecord.texts.add("powerOnOps");
            break;
        case Saying::RecordMade:
            trace(Kind::SensorListGet, 1);
            trace(Kind::SensorCreate, 1);
            break;
        case Saying::NoSensorList:
            trace(Kind::SensorListGet, 0);
            break;
        case Saying::NoHandle:
            trace(Kind::SensorListGet, 1);
            trace(Kind::SensorCreate, 0);
            break;
        case Saying::WorkerBegins:
            addCall(thread);
            break;
        case Saying::AllUp:
            if (thread.request) allUp(*thread.request);
            if (mReach.debugLines)
                add(thread, Kind::ProfileMark).text = mRecord.texts.add("Sensor powerOn -");
            break;
        case Saying::NoRecord:
        case Saying::NoWorker:
            if (draft) draft->hasFailed = draft->isOver = true;
            break;
        case Saying::PowerOnEnds:
        case Saying::PowerOffEnds:
            if (draft) draft->isOver = true;
            break;
        default:
            break;
    }
}

// ---- Requests ----

RecordMaker::Draft* RecordMaker::openDraft(ThreadState const& thread, RequestKind kind) {
    if (!thread.request) return nullptr;
    Draft& draft = mDrafts[*thread.request];
    return draft.request.kind == kind ? &draft : nullptr;
}

// The one that the thread is in, unless it has had this sign of its begin.
RecordMaker::Draft& RecordMaker::draftOf(ThreadState& thread, RequestKind kind, bool Draft::*sign) {
    Draft* const open = openDraft(thread, kind);
    bool const isSame = open && (open->isTold || (!open->isOver && !(open->*sign)));
    Draft& draft = isSame ? *open : newDraft(thread, kind);
    draft.*sign = true;
    return draft;
}

RecordMaker::Draft& RecordMaker::newDraft(ThreadState& thread, RequestKind kind) {
    leave(thread);
    auto const index = static_cast<std::uint32_t>(mDrafts.size());
    thread.request = index;
    Draft& draft = mDrafts.emplace_back();
    draft.thread = thread.id;
    draft.request.kind = kind;
    draft.request.name = mRecord.texts.add(nameOf(kind));
    draft.request.began = mNow;
    mOpen.push_back(index);
    add(thread, Kind::Request).detail = draft.request.name;
    touch(thread);
    return draft;
}

void RecordMaker::touch(ThreadState const& thread) {
    if (!thread.request) return;
    Draft& draft = mDrafts[*thread.request];
    draft.last = mOrder;
    draft.lastTime = mNow;
}

// What the request was, now that all signs of it have come.
void RecordMaker::settle(Draft& draft) const {
    Request& request = draft.request;
    if (draft.isTold) return;
    bool const isOfSensors = request.kind == RequestKind::PowerOn || request.kind == RequestKind::PowerOff;
    if (isOfSensors && !draft.tellsNames && !draft.mayHaveOthers && !draft.worked.empty())
        request.sensors = draft.worked;
    if (request.kind != RequestKind::PowerOn || !request.ended) return;
    // The one listener that there is opens a section for each sensor and never refuses.
    request.result = !draft.hasFailed && (draft.isOver || draft.isNotified || !draft.works());
}

void RecordMaker::close(ThreadState& thread) {
    if (!thread.request) return;
    Draft& draft = mDrafts[*thread.request];
    draft.request.ended = draft.lastTime;
    settle(draft);
    Event& reply = addAt(draft.last + kReply, draft.lastTime, thread, Kind::Reply);
    reply.detail = draft.request.name;
    reply.number = draft.request.kind == RequestKind::PowerOn
                       ? OptionalNumber<std::int64_t>(draft.request.result.value_or(false) ? 1 : 0)
                       : OptionalNumber<std::int64_t>(0);
    std::erase(mOpen, *thread.request);
    if (mEnded) mEnded(nameOfClient(draft), draft.request);
    thread.request = {};
}

// The thread goes on to something else, or the evidence ends. A power-on that admits no sensor ends without a
// sign, as soon as it has looked at them.
void RecordMaker::leave(ThreadState& thread) {
    if (!thread.request) return;
    Draft& draft = mDrafts[*thread.request];
    bool const hadNothingToDo = draft.request.kind == RequestKind::PowerOn && draft.tellsNames &&
                                draft.admitted.empty() && !draft.works();
    if (hadNothingToDo || draft.isOver) return close(thread);
    settle(draft);
    std::erase(mOpen, *thread.request);
    if (mEnded) mEnded(nameOfClient(draft), draft.request);
    thread.request = {};
}

}  // namespace zeqcam::tool

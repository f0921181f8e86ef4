#pragma once

#include "evidence/Reach.h"
#include "evidence/Sighting.h"
#include "record/Record.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

struct TraceValues;

// A process as its evidence tells of it.
struct ReadProcess {
    Record record;
    Reach reach;
    std::vector<std::string> notes;  // what was left open: "powerOnSensor: 2 at 12.1 ms: of one of …"
};

// Makes the record of one process of what was seen of it, in the order in which it happened. For one thread.
//
// A request is what a thread tells of between the first sign of it and the last; what no sign tells stays
// unknown. Each thread that makes requests is a client.
class RecordMaker {
  public:
    using Ended = std::function<void(std::string_view client, Request const& request)>;

    // `ended` is told of each request when its end is seen or the thread goes on to the next.
    explicit RecordMaker(std::int32_t process, Ended ended = {});

    Texts& texts() { return mRecord.texts; }
    void see(Sighting const& sighting);
    // Whether it has told of a thread with this id.
    [[nodiscard]] bool knows(std::int32_t thread) const { return mThreads.contains(thread); }
    // As far as files tell; before `finish`.
    void nameThread(std::int32_t thread, std::string_view name);

    // Once; `end`: the last time that the evidence tells of.
    ReadProcess finish(std::chrono::nanoseconds end);

  private:
    // A request, while more of it may come.
    struct Draft {
        Request request;
        std::int32_t thread = 0;        // the kernel's id
        TextId client = TextId::Empty;  // its name, where a trace of our own tells it
        std::uint64_t last = 0;         // the order of its last sign
        Instant lastTime;
        bool tellsNames = false;  // by its admission lines
        bool hasLine = false;     // "powerOn +" or "powerOff +"
        bool hasSection = false;  // "LogicalDev …"
        bool isTold = false;      // as a whole, by a trace of our own
        std::vector<int> admitted;
        std::vector<int> worked;     // sensors that workers or tasks have begun with
        bool mayHaveOthers = false;  // one of them may be another request's
        bool runsItself = false;     // its thread runs the task, of its one sensor
        bool isOver = false;         // its last line has come; its section may end yet
        bool hasFailed = false;
        bool isNotified = false;

        [[nodiscard]] bool works() const { return hasLine || hasSection; }
    };

    struct OpenSection {
        Saying saying;
        TextId label;
        bool isRequest = false;    // of a client, in a trace of our own
        bool isCall = false;       // on a sensor, in such a trace
        bool powersOn = false;     // of a call
        bool isFailure = false;    // of a call
        bool hadNotEnded = false;  // in such a trace
        std::int32_t sensor = 0;   // of a call
    };

    // What a worker or a task does on its thread.
    struct Work {
        Saying saying = Saying::Other;  // WorkerSection or TaskSection
        std::int32_t sensor = 0;
        OptionalNumber<std::uint32_t> request;  // draft
        std::uint64_t at = 0;                   // where its call begins at the earliest, and when
        Instant time;
        bool inSection = false;
        bool hasCall = false;
        bool hasEnd = false;
        bool hasServices = false;  // they were told
    };

    struct ThreadState {
        std::int32_t id = 0;
        std::uint32_t index = 0;                   // into Record::threads
        OptionalNumber<std::uint32_t> request;     // draft
        OptionalNumber<std::uint32_t> startedFor;  // draft
        OptionalNumber<std::uint32_t> worksFor;    // draft, as an arrow has just told
        std::optional<Work> work;
        std::vector<OpenSection> open;
        TextId debugPrint = TextId::Empty;  // the line before, where the other log may repeat it
        std::int32_t lastWorked = 0;        // the sensor of the last worker or task
        bool isTask = false;                // runs one of a queue
    };

    struct Ordered {
        Event event;
        std::uint64_t order;
    };

    ThreadState& threadOf(std::int32_t id);
    ThreadState& newThread(std::int32_t id);
    Event& add(ThreadState const& thread, board::Kind kind);
    Event& addAt(std::uint64_t order, Instant time, ThreadState const& thread, board::Kind kind);

    void seeLine(ThreadState& thread, Sighting const& sighting);
    void seeRequestLine(ThreadState& thread, Sighting const& sighting);
    void seeWorkLine(ThreadState& thread, Sighting const& sighting);
    [[nodiscard]] bool isToldWhole(ThreadState const& thread, Sighting const& sighting) const;
    void seeAfterLine(ThreadState& thread, Saying saying, std::optional<std::int32_t> sensor);
    void addLine(ThreadState const& thread, Sighting const& sighting);
    bool repeats(ThreadState& thread, Sighting const& sighting) const;
    void reach(Sighting const& sighting);
    void seeBegin(ThreadState& thread, Sighting const& sighting);
    void seeEnd(ThreadState& thread);
    void seeStart(Sighting const& sighting);
    void seeOwnSection(ThreadState& thread, Sighting const& sighting, std::string_view category);
    void beginOwnRequest(ThreadState& thread, std::string_view label, TraceValues const& values);
    void endOwnRequest(ThreadState& thread, OpenSection const& section);

    std::int32_t sensorOf(std::string_view name);
    std::int32_t sensorOf(std::string const& name, std::optional<std::int32_t> id);
    [[nodiscard]] std::string wordOf(std::int32_t sensor) const;
    void resolveSensors();

    // Requests
    Draft& draftOf(ThreadState& thread, RequestKind kind, bool Draft::*sign);
    Draft& newDraft(ThreadState& thread, RequestKind kind);
    Draft& addNamed(ThreadState& thread, std::int32_t sensor);
    Draft* openDraft(ThreadState const& thread, RequestKind kind);
    void touch(ThreadState const& thread);
    void close(ThreadState& thread);
    void leave(ThreadState& thread);
    void settle(Draft& draft) const;

    // Workers and tasks
    void beginWork(ThreadState& thread, Saying saying, std::int32_t sensor, bool inSection);
    OptionalNumber<std::uint32_t> requestOfWork(ThreadState const& thread, Saying saying, std::int32_t sensor,
                                                bool inSection);
    void addCall(ThreadState& thread);
    void addCallEnd(ThreadState& thread, OptionalNumber<std::int64_t> result);
    void tellService(ThreadState& thread, board::Kind kind);
    void endWork(ThreadState& thread);
    void allUp(std::uint32_t draft);

    // The end
    void makeClients();
    void takeEvents();
    void dropIdleThreads();
    [[nodiscard]] std::string nameOfClient(std::int32_t thread) const;
    [[nodiscard]] std::string nameOfClient(Draft const& draft) const;

    Record mRecord;
    Ended mEnded;
    Reach mReach;
    std::vector<std::string> mNotes;
    std::map<std::int32_t, ThreadState> mThreads;  // the last of each id
    std::map<std::int32_t, TextId> mNames;         // of threads, by id
    std::vector<Draft> mDrafts;
    std::vector<std::uint32_t> mOpen;  // drafts that may have more
    std::vector<Ordered> mEvents;
    std::map<std::string, std::int32_t, std::less<>>
        mSensorNames;                                 // where a file tells names in place of ids
    std::map<std::int32_t, std::int32_t> mSensorIds;  // of such, as lines tell
    std::map<std::int32_t, std::string> mNamesOfIds;  // where a file tells both
    std::set<std::int32_t> mRecorded;                 // sensors that have a record, as far as seen
    std::uint64_t mOrder = 0;                         // of the sighting at hand
    Instant mNow;
    Place mPlace;
};

}  // namespace zeqcam::tool

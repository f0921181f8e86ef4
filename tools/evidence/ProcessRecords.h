#pragma once

#include "evidence/Clocks.h"
#include "evidence/Interleaving.h"
#include "evidence/Item.h"
#include "evidence/RecordMaker.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {

// What our library's processes did, by what files from a phone say: a record for each process that holds
// lines or sections of ours. Only what is ours is kept of a file, and of other threads nothing. For one
// thread.
class ProcessRecords final : public ItemSink {
  public:
    struct File {
        std::string name;
        bool isWallTimeKnown = true;
    };

    using Ended = std::function<void(std::int32_t process, std::string_view client, Request const& request)>;

    ProcessRecords() = default;
    // Tells of each request of a file as it ends; then there is one file only.
    explicit ProcessRecords(Ended ended) : mEnded(std::move(ended)) {}

    void take(Item const& item) override;

    // After the last item; once. `files` by their index. In the order of the processes' first signs. Where
    // files cannot be laid over each other, a process has a record of each, and a note says so.
    std::vector<ReadProcess> finish(std::vector<File> const& files);

    // Of what is wanted, for readers.
    static Wanted wanted();

  private:
    // A process as one file tells of it, in one boot of the phone, counted from the file's begin.
    struct Part {
        std::int32_t process = 0;
        std::uint16_t file = 0;
        std::uint32_t boot = 0;

        auto operator<=>(Part const&) const = default;
    };

    // Of a thread that is in a section of ours.
    struct OpenSections {
        struct Open {
            TextId label;
            Saying saying;
            int foreign = 0;  // sections of others that are open in it
        };
        std::int32_t process = 0;
        std::vector<Open> open;
    };

    struct FileState {
        std::uint32_t boot = 0;
        ClockKind clock = ClockKind::Monotonic;  // of what is kept, the last
        std::map<std::int32_t, OpenSections> threads;
        // Threads that one of ours has started, until they are ours themselves: by their process.
        std::map<std::int32_t, std::int32_t> started;
        std::vector<std::pair<std::optional<std::int32_t>, Loss>> losses;
        std::uint64_t lossesNotKept = 0;
        std::chrono::nanoseconds wallShift{};  // since the wall clock was set back
        std::optional<std::chrono::nanoseconds> lastWall;
        bool hasLines = false;
        bool hasSections = false;
        bool hasSwitches = false;
        std::int64_t unit = 0;  // of its times, as far as they tell: 0 while there is none
        std::map<std::int32_t, std::string> names;       // of threads
        std::map<std::int32_t, std::int32_t> processes;  // of threads, where a table tells
    };

    void take(Item const& item, SectionBegin const& begin);
    void take(Item const& item, SectionEnd const& end);
    void take(Item const& item, LogLine const& line);
    void take(Item const& item, Switch const& change);
    void take(Item const& item, Waking const& waking);
    void take(Item const& item, ThreadStart const& start);
    void take(Item const& item, WorkFor const& work);
    void take(Item const& item, ProfilePoint const& point);
    void take(Item const& item, ThreadName const& name);
    void take(Item const& item, ClockReading const& reading);
    void take(Item const& item, Boot const& boot);
    void take(Item const& item, Lost const& lost);

    FileState& fileOf(Item const& item) { return mFiles[item.place.file]; }
    [[nodiscard]] std::optional<std::int32_t> processOf(Item const& item);
    Clocks::Clock clockOf(Item const& item);
    static Sighting sightingOf(Item const& item, Sighting::What what);
    void keep(Item const& item, std::int32_t process, Sighting sighting);
    void followSetting(Item const& item, std::chrono::nanoseconds& time);
    void keepState(Item const& item, std::int32_t thread, Scheduling::State state);

    // The parts of one process whose clocks fit, as one record.
    ReadProcess recordOf(std::vector<Part> const& parts, std::size_t group, std::vector<File> const& files);
    RecordMaker& makerOf(std::int32_t process);
    void pass(Sighting const& sighting, RecordMaker& maker) const;
    void addNames(std::vector<Part> const& parts, RecordMaker& maker) const;
    void addLosses(std::vector<Part> const& parts, ReadProcess& read) const;
    std::chrono::nanoseconds resolutionOf(std::uint16_t file) const;

    Ended mEnded;
    std::map<std::uint16_t, FileState> mFiles;
    Texts mTexts;
    std::map<Part, Sightings> mParts;
    std::vector<Part> mOrder;                     // by their first signs
    std::map<std::int32_t, RecordMaker> mMakers;  // by process, where requests are told as they end
    Clocks mClocks;
};

}  // namespace zeqcam::tool

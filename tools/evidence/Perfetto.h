#pragma once

#include "evidence/Bytes.h"
#include "evidence/Item.h"
#include "evidence/KnownThreads.h"
#include "evidence/TimeOrder.h"
#include "evidence/TrackEvents.h"

#include <protozero/pbf_reader.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace zeqcam::tool {

// Reads Perfetto's trace of packets. A place's number is the packet's, with those counted that stand
// compressed in another in its stead.
class PerfettoReader {
  public:
    PerfettoReader(std::uint16_t file, Wanted const& wanted, ItemSink& sink)
        : mFile(file), mWanted(wanted), mSink(sink), mOrder(sink), mTracks(mOrder, sink) {}

    void read(Bytes& bytes);

  private:
    using Message = protozero::pbf_reader;

    // What a processor's part of the kernel's trace says of all its events.
    struct Bundle {
        std::uint32_t processor = 0;
        ClockKind clock = ClockKind::Boot;
        bool hasLost = false;
    };

    void readPackets(Bytes& bytes);
    void takePacket(std::string_view content);
    void takeCompressed(std::string_view content);
    static void takeTrackField(Message const& field, TrackEvents::Packet& tracks);
    void takeBundle(std::string_view content);
    static Bundle bundleOf(std::string_view content);
    void takeEvent(std::string_view content, Bundle const& bundle);
    void takePrint(std::string_view content, Item item);
    void takeSwitch(std::string_view content, Item item);
    void takeWaking(std::string_view content, Item item);
    void takeStart(std::string_view content, Item item);
    void takeCompact(std::string_view content, Bundle const& bundle);
    void takeProcessTree(std::string_view content);
    void takeProcess(std::string_view content);
    void takeThread(std::string_view content);
    void takeClocks(std::string_view content);
    void takeLog(std::string_view content);
    void takeLogEvent(std::string_view content);

    void tell(Item const& item);
    void tellLost(std::string_view what);
    [[nodiscard]] Item itemAt(std::uint64_t time, ClockKind clock) const;

    std::uint16_t mFile;
    Wanted const& mWanted;
    ItemSink& mSink;
    TimeOrder mOrder;
    TrackEvents mTracks;
    KnownThreads mThreads;
    std::uint32_t mNumber = 0;
    bool mIsCompressed = false;
    std::chrono::nanoseconds mTime{};                        // of the last event of the kernel's trace
    std::optional<std::chrono::nanoseconds> mWallSinceBoot;  // as the last snapshot has it
    std::unordered_map<std::uint32_t, std::int32_t>
        mRunning;  // thread by processor, as compact switches tell
};

}  // namespace zeqcam::tool

#include "evidence/Reading.h"

#include "evidence/Bytes.h"
#include "evidence/Ftrace.h"
#include "evidence/Inflate.h"
#include "evidence/Lines.h"
#include "evidence/Logcat.h"
#include "evidence/LogcatLine.h"
#include "evidence/Packets.h"
#include "evidence/Perfetto.h"
#include "evidence/TraceEvents.h"

#include <string>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

// Files whose content comes from a phone too, but not in a form that can be read.
struct OtherFile {
    std::string_view begin;
    char const* found;
};
constexpr OtherFile kOtherFiles[] = {
    {"PK\x03\x04", "a zip archive; unpack it and read the file inside"},
    {"\x17\x08\x44tracing", "trace-cmd's own file; read what `trace-cmd report` makes of it"},
    {"\xff\xfe", "text in UTF-16, as some shells write it; take it with `adb logcat -v threadtime -f`"},
};

ReadResult unknown(std::string found) {
    return {.format = Format::Unknown, .found = std::move(found)};
}

bool endsWith(std::string_view text, std::string_view ending) {
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

class Reading {
  public:
    Reading(std::uint16_t file, Wanted const& wanted, ItemSink& sink)
        : mFile(file), mWanted(wanted), mSink(sink) {}

    ReadResult read(Bytes& bytes);

  private:
    // A gzip of a trace whose own form is compressed is the most that phones make.
    static constexpr int kDeepest = 2;
    // What tells a format from others.
    static constexpr std::size_t kLongestLook = 4096;

    ReadResult readCompressed(Bytes& bytes);
    ReadResult readText(Bytes& bytes);

    std::uint16_t mFile;
    Wanted const& mWanted;
    ItemSink& mSink;
    int mDepth = 0;
};

ReadResult Reading::read(Bytes& bytes) {
    auto begin = bytes.atLeast(2);
    if (begin.empty()) return unknown("nothing: it is empty");
    if (isCompressed(begin)) return readCompressed(bytes);
    // An empty line or a packet.
    if (begin[0] == '\n' && Packets::isTrace(bytes.atLeast(kLongestLook))) {
        PerfettoReader(mFile, mWanted, mSink).read(bytes);
        return {.format = Format::Perfetto, .found = {}};
    }
    bool const isBracket = begin[0] == '{' || begin[0] == '[';
    if (isBracket && isJson(bytes.atLeast(kLongestLook))) {
        std::string found = readTraceEvents(bytes, mFile, mSink);
        if (!found.empty()) return unknown(std::move(found));
        return {.format = Format::TraceEvents, .found = {}};
    }
    begin = bytes.atLeast(2);
    for (auto const& [bytesOf, found] : kOtherFiles) {
        if (begin[0] != bytesOf[0]) continue;
        begin = bytes.atLeast(bytesOf.size());
        if (begin.substr(0, bytesOf.size()) == bytesOf) return unknown(found);
    }
    return readText(bytes);
}

ReadResult Reading::readCompressed(Bytes& bytes) {
    if (!canInflate())
        return unknown("compressed data, which this build cannot inflate: it was made without zlib");
    if (mDepth == kDeepest) return unknown("data compressed again and again");
    ++mDepth;
    InflatedSource source(bytes);
    Bytes inflated(source);
    ReadResult result = read(inflated);
    --mDepth;
    if (source.fault().empty()) return result;
    if (result.format == Format::Unknown) {
        result.found = "compressed data that are cut or damaged before anything can be read";
    } else {
        Item item;
        item.place.file = mFile;
        item.what = Lost{source.fault()};
        mSink.take(item);
    }
    return result;
}

// What a text is tells its first line of a log or a trace; bug reports have much before that.
ReadResult Reading::readText(Bytes& bytes) {
    Lines lines(bytes);
    LogcatReader logcat(mFile, mWanted, mSink);
    std::string_view otherFormat;
    bool hasZeros = false;
    while (lines.next()) {
        auto const line = withoutPadding(lines.text());
        hasZeros = hasZeros || lines.text().find('\0') != std::string_view::npos;
        if (line.empty() || logcat.seesBegin(line)) continue;
        if (logcatLineOf(line)) {
            lines.stay();
            logcat.read(lines);
            return {.format = Format::Logcat, .found = {}, .isWallTimeKnown = logcat.isWallTimeKnown()};
        }
        if (FtraceReader::isTrace(line)) {
            lines.stay();
            FtraceReader(mFile, mSink).read(lines);
            return {.format = Format::Ftrace, .found = {}};
        }
        // What `atrace -z` says before the trace.
        if (endsWith(line, "TRACE:") && isCompressed(lines.leave().atLeast(2))) return readCompressed(bytes);
        if (otherFormat.empty()) otherFormat = otherLogcatFormat(line);
    }
    if (!otherFormat.empty()) {
        return unknown("a logcat in the format \"" + std::string(otherFormat) +
                       "\", which does not do: threads are needed; take it with `adb logcat -v threadtime`");
    }
    if (hasZeros) return unknown("bytes that are no text and no trace");
    return unknown("text without any line of a log or a trace; take one with `adb logcat -v threadtime`");
}

}  // namespace

ReadResult readEvidence(ByteSource& input, std::uint16_t fileIndex, Wanted const& wanted, ItemSink& sink,
                        ReadProgress const& progress) {
    Bytes bytes(input, progress);
    return Reading(fileIndex, wanted, sink).read(bytes);
}

}  // namespace zeqcam::tool

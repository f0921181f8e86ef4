// Files from phones of the fuzzer's making, behind a begin that tells which reader gets them. In whatever
// blocks a file comes, it tells the same.
#include "../evidence/InBlocks.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

namespace {

using namespace zeqcam::tool;
using zeqcam::tests::InBlocks;

// Looks at all that an item refers to.
class Sum final : public ItemSink {
  public:
    void take(Item const& item) override {
        if (item.place.file != 5 || item.thread < 0) std::abort();
        add(std::to_string(item.time.count()));
        add(std::to_string(item.place.number));
        add(std::to_string(item.thread + item.process.value_or(-1)));
        add(std::to_string(item.what.index()));
        if (auto const* const begin = std::get_if<SectionBegin>(&item.what)) {
            add(begin->label);
            add(begin->category);
            add(begin->values);
        } else if (auto const* const line = std::get_if<LogLine>(&item.what)) {
            if (!line->tag.empty() && line->tag != "ours") std::abort();
            add(line->text);
        } else if (auto const* const start = std::get_if<ThreadStart>(&item.what)) {
            if (start->started <= 0) std::abort();
            add(start->name);
        } else if (auto const* const name = std::get_if<ThreadName>(&item.what)) {
            add(name->name);
            add(name->process);
        } else if (auto const* const lost = std::get_if<Lost>(&item.what)) {
            if (lost->what.empty()) std::abort();
            add(lost->what);
        }
    }

    std::size_t sum = 0;

  private:
    void add(std::string_view text) { sum = sum * 31 + std::hash<std::string_view>{}(text); }
};

// What lets a file go to that reader, whatever follows.
constexpr std::string_view beginOf(std::string_view reader) {
    if (reader == "logcat") return "11-23 05:16:48.315  1  2 I x: \n";
    if (reader == "ftrace") return "# tracer: nop\n";
    if (reader == "perfetto") return "\n\002P\001";
    return reader == "trace-events" ? "[{}," : "";
}

std::size_t sumOf(std::string_view bytes, std::size_t block) {
    Sum sum;
    InBlocks source(bytes, block);
    ReadResult const result =
        readEvidence(source, 5, {.tag = [](std::string_view tag) { return tag == "ours"; }}, sum);
    if ((result.format == Format::Unknown) == result.found.empty()) std::abort();
    return sum.sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string bytes(beginOf(ZEQCAM_FUZZ_READER));
    bytes.append(reinterpret_cast<char const*>(data), size);
    if (sumOf(bytes, bytes.size() + 1) != sumOf(bytes, 7)) std::abort();
    return 0;
}

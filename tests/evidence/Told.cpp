#include "evidence/Told.h"

#include "evidence/InBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace zeqcam::tests {
namespace {

using namespace tool;

std::string timeText(Item const& item) {
    auto const seconds = std::chrono::floor<std::chrono::seconds>(item.time);
    auto const rest = static_cast<long>((item.time - seconds).count());
    std::time_t const since1970 = seconds.count();
    char text[64];
    std::size_t length = 0;
    if (item.clock == ClockKind::Wall) {
        std::tm parts{};
        gmtime_r(&since1970, &parts);
        length = std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    } else {
        length = static_cast<std::size_t>(std::snprintf(text, sizeof(text), "%ld", long{since1970}));
    }
    length += static_cast<std::size_t>(std::snprintf(text + length, sizeof(text) - length, ".%09ld", rest));
    while (length > 1 && text[length - 1] == '0' && text[length - 2] == '0' && text[length - 3] == '0')
        length -= 3;
    if (text[length - 1] == '.') --length;
    return {text, length};
}

struct WhatText {
    std::string operator()(SectionBegin const& begin) const {
        return "B " + std::string(begin.label) +
               (begin.category.empty() ? "" : " category " + std::string(begin.category)) +
               (begin.values.empty() ? "" : " " + std::string(begin.values));
    }
    std::string operator()(SectionEnd const&) const { return "E"; }
    std::string operator()(LogLine const& line) const {
        return std::string(1, line.level) + " " + std::string(line.tag) + ": " + std::string(line.text);
    }
    std::string operator()(Switch const& to) const {
        constexpr char const* kStates[] = {"running", "runnable", "asleep", "ended"};
        return "switch to " + std::to_string(to.next) + ", " + kStates[static_cast<int>(to.left)];
    }
    std::string operator()(Waking const& waking) const { return "wakes " + std::to_string(waking.woken); }
    std::string operator()(ThreadStart const& start) const {
        return "starts " + std::to_string(start.started) + " " + std::string(start.name);
    }
    std::string operator()(WorkFor const& work) const { return "works for " + std::to_string(work.asking); }
    std::string operator()(ProfilePoint const& point) const { return "profile " + std::string(point.label); }
    std::string operator()(ThreadName const& name) const {
        return "is " + std::string(name.name) +
               (name.process.empty() ? "" : " of " + std::string(name.process));
    }
    std::string operator()(ClockReading const& reading) const {
        return std::string(nameOf(reading.clock)) + " shows " + std::to_string(reading.shown.count());
    }
    std::string operator()(Boot const&) const { return "boot"; }
    std::string operator()(Lost const& lost) const { return "lost: " + std::string(lost.what); }
};

class Lister final : public ItemSink {
  public:
    void take(Item const& item) override {
        items.push_back(std::to_string(item.place.number) + " " + std::string(nameOf(item.clock)) + " " +
                        timeText(item) + " " + (item.process ? std::to_string(*item.process) : "-") + "/" +
                        std::to_string(item.thread) + " " + std::visit(WhatText{}, item.what));
        if (item.place.file != 3) ADD_FAILURE() << "file " << item.place.file << " instead of 3";
    }

    std::vector<std::string> items;
};

Told toldInBlocks(std::string_view bytes, std::size_t block) {
    Wanted const wanted{.tag = [](std::string_view tag) {
        return tag == "zeqcam-PowerOnOffController" || tag == "ZeqCam/Hal3AListener";
    }};
    Lister lister;
    InBlocks source(bytes, block);
    ReadResult result = readEvidence(source, 3, wanted, lister);
    return {std::move(result), std::move(lister.items)};
}

}  // namespace

Told told(std::string_view bytes) {
    Told const whole = toldInBlocks(bytes, bytes.size() + 1);
    for (std::size_t const block : {std::size_t{1}, std::size_t{7}, std::size_t{4096}}) {
        // Cuts at every place are for small ones.
        if (block < 4096 && bytes.size() > 50'000) continue;
        Told const again = toldInBlocks(bytes, block);
        EXPECT_EQ(again.items, whole.items) << "in blocks of " << block;
        EXPECT_EQ(again.result.found, whole.result.found) << "in blocks of " << block;
    }
    return whole;
}

}  // namespace zeqcam::tests

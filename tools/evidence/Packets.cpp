#include "evidence/Packets.h"

#include <protozero/exception.hpp>
#include <protozero/pbf_reader.hpp>
#include <protozero/varint.hpp>

#include <algorithm>
#include <optional>

namespace zeqcam::tool {
namespace {

// A packet is field 1 of the trace, of bytes.
constexpr char kTag = '\x0a';

// Much more than a phone writes: its buffers hold some ten MiB in all.
constexpr std::size_t kLongestPacket = std::size_t{16} * 1024 * 1024;

// How far is looked for the next packet at once.
constexpr std::size_t kWindow = std::size_t{64} * 1024;

struct Header {
    std::size_t header = 0;  // bytes of it
    std::size_t content = 0;
};

// None: no packet begins so.
std::optional<Header> headerOf(std::string_view bytes) {
    if (bytes.empty() || bytes.front() != kTag) return {};
    char const* at = bytes.data() + 1;
    try {
        auto const length = protozero::decode_varint(&at, bytes.data() + bytes.size());
        if (length == 0 || length > kLongestPacket) return {};
        return Header{static_cast<std::size_t>(at - bytes.data()), static_cast<std::size_t>(length)};
    } catch (protozero::exception const&) {
        return {};
    }
}

// Whether it is fields from its begin to its end, or to where it is cut.
bool isMessage(std::string_view content, bool isWhole) {
    try {
        for (protozero::pbf_reader fields(content.data(), content.size()); fields.next(); fields.skip()) {
        }
    } catch (protozero::end_of_buffer_exception const&) {
        return !isWhole;
    } catch (protozero::exception const&) {
        return false;
    }
    return true;
}

}  // namespace

bool Packets::isTrace(std::string_view begin) {
    auto const header = headerOf(begin);
    if (!header || header->header == begin.size()) return false;
    // A text may begin with an empty line.
    auto const isControl = [](char c) {
        auto const value = static_cast<unsigned char>(c);
        return (value < ' ' && c != '\n' && c != '\r' && c != '\t') || value >= 0x80;
    };
    auto const head = begin.substr(0, 64);
    if (std::none_of(head.begin(), head.end(), isControl)) return false;
    auto const content = begin.substr(header->header, header->content);
    return isMessage(content, content.size() == header->content);
}

bool Packets::next() {
    mBytes.drop(mUsed);
    mUsed = 0;
    mDamaged = 0;
    for (;;) {
        if (mBytes.atLeast(1).empty()) return false;
        if (take()) return true;
        auto const passed = beginOfNext();
        mBytes.drop(passed);
        mDamaged += passed;
    }
}

bool Packets::take() {
    constexpr std::size_t kLongestHeader = 11;
    auto const header = headerOf(mBytes.atLeast(kLongestHeader));
    if (!header) return false;
    auto const there = mBytes.atLeast(header->header + header->content);
    mContent = there.substr(header->header, header->content);
    mIsWhole = mContent.size() == header->content;
    mUsed = header->header + mContent.size();
    if (isMessage(mContent, mIsWhole)) return true;
    mUsed = 0;
    return false;
}

// Where, behind the first byte, a packet may begin; or how many bytes are none of one for sure.
std::size_t Packets::beginOfNext() {
    auto const there = mBytes.atLeast(kWindow);
    auto const next = there.find(kTag, 1);
    return std::min(next, there.size());
}

}  // namespace zeqcam::tool

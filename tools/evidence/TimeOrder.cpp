#include "evidence/TimeOrder.h"

#include <algorithm>
#include <utility>
#include <variant>

namespace zeqcam::tool {
namespace {

// The texts of an item, by reference.
template <class Visit>
void forEachText(Item& item, Visit const& visit) {
    if (auto* const begin = std::get_if<SectionBegin>(&item.what)) {
        visit(begin->label);
        visit(begin->category);
        visit(begin->values);
    } else if (auto* const line = std::get_if<LogLine>(&item.what)) {
        visit(line->tag);
        visit(line->text);
    } else if (auto* const start = std::get_if<ThreadStart>(&item.what)) {
        visit(start->name);
    } else if (auto* const point = std::get_if<ProfilePoint>(&item.what)) {
        visit(point->label);
    } else if (auto* const name = std::get_if<ThreadName>(&item.what)) {
        visit(name->name);
        visit(name->process);
    } else if (auto* const lost = std::get_if<Lost>(&item.what)) {
        visit(lost->what);
    }
}

}  // namespace

std::string_view TimeOrder::Arena::keep(std::string_view text) {
    if (text.empty()) return {};
    if (mLeft < text.size()) {
        mLeft = std::max(kBlock, text.size());
        mBlocks.emplace_back(new char[mLeft]);
    }
    // Blocks fill from their end, so that one number tells where.
    mLeft -= text.size();
    char* const kept = mBlocks.back().get() + mLeft;
    text.copy(kept, text.size());
    return {kept, text.size()};
}

void TimeOrder::take(Item const& item, std::chrono::nanoseconds time) {
    if (mHeld.size() == 2 * kHeld) passOn(kHeld);
    hold(item, time);
}

void TimeOrder::finish() {
    passOn(mHeld.size());
}

void TimeOrder::hold(Item const& item, std::chrono::nanoseconds time) {
    mHeld.push_back({time, mItems.size()});
    mItems.push_back(item);
    forEachText(mItems.back(), [this](std::string_view& text) { text = mTexts.keep(text); });
}

void TimeOrder::passOn(std::size_t count) {
    std::sort(mHeld.begin(), mHeld.end(), [](Held const& a, Held const& b) {
        return std::pair(a.time, a.item) < std::pair(b.time, b.item);
    });
    auto const held = std::exchange(mHeld, {});
    auto const items = std::exchange(mItems, {});
    auto const texts = std::exchange(mTexts, {});
    auto const end = held.begin() + static_cast<std::ptrdiff_t>(count);
    for (auto next = held.begin(); next != end; ++next) mSink.take(items[next->item]);
    mHeld.reserve(held.size());
    mItems.reserve(held.size());
    for (auto next = end; next != held.end(); ++next) hold(items[next->item], next->time);
}

}  // namespace zeqcam::tool

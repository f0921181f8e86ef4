#include "evidence/CompactSched.h"

#include "evidence/PerfettoFields.h"
#include "evidence/Protobuf.h"

namespace zeqcam::tool {

using namespace perfetto;

CompactSched::CompactSched(std::string_view content) {
    for (auto fields = messageOf(content); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case compact_sched::kSwitchTimestamp:
                mSwitchDifferences = Column(allOf(fields));
                break;
            case compact_sched::kSwitchPrevState:
                mSwitchStates = Column(allOf(fields));
                break;
            case compact_sched::kSwitchNextPid:
                mSwitchNext = Column(allOf(fields));
                break;
            case compact_sched::kInternTable:
                mNames.push_back(allOf(fields));
                break;
            case compact_sched::kSwitchNextCommIndex:
                mSwitchNames = Column(allOf(fields));
                break;
            case compact_sched::kWakingTimestamp:
                mWakingDifferences = Column(allOf(fields));
                break;
            case compact_sched::kWakingPid:
                mWoken = Column(allOf(fields));
                break;
            default:
                break;
        }
    }
    advance(mSwitchTime, mSwitchDifferences);
    advance(mWakingTime, mWakingDifferences);
}

CompactSched::Switch CompactSched::nextSwitch() {
    Switch found{
        .time = *mSwitchTime, .state = inRow(mSwitchStates), .next = inRow(mSwitchNext), .nextName = {}};
    auto const name = mSwitchNames.next();
    if (name && *name < mNames.size()) found.nextName = mNames[*name];
    advance(mSwitchTime, mSwitchDifferences);
    return found;
}

CompactSched::Waking CompactSched::nextWaking() {
    Waking const found{.time = *mWakingTime, .woken = inRow(mWoken)};
    advance(mWakingTime, mWakingDifferences);
    return found;
}

// Each row has a time, so a column that is shorter is damaged.
std::uint64_t CompactSched::inRow(Column& column) {
    auto const number = column.next();
    if (!number) throw protozero::end_of_buffer_exception();
    return *number;
}

std::optional<std::uint64_t> CompactSched::Column::next() {
    if (mRest.empty()) return {};
    char const* at = mRest.data();
    auto const number = protozero::decode_varint(&at, mRest.data() + mRest.size());
    mRest.remove_prefix(static_cast<std::size_t>(at - mRest.data()));
    return number;
}

void CompactSched::advance(std::optional<std::uint64_t>& time, Column& differences) {
    auto const difference = differences.next();
    time = difference ? std::optional(time.value_or(0) + *difference) : std::nullopt;
}

}  // namespace zeqcam::tool

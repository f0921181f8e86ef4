#include "Device.h"
#include "SimulationHooks.h"

#include <zeqcam/platform/Atrace.h>
#include <zeqcam/platform/CamProfile.h>

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

namespace zeqcam::board {
namespace {

// The sections that a thread has open. Those that an earlier board was told of are no longer open.
struct OpenSections {
    std::uint64_t device = 0;
    std::vector<std::string> labels;

    std::vector<std::string>& of(Device const& current) {
        if (device != current.serial) *this = {current.serial, {}};
        return labels;
    }
};

thread_local OpenSections tSections;

// An event of a section in the kernel's trace, as one write: the kernel keeps those of two threads apart. A
// tracer that is off loses it, as on a device.
void writeMarker(Device const& device, char event, char const* label = nullptr) {
    int const marker = device.settings().traceMarker;
    if (marker < 0) return;
    withoutThrowing([&] {
        std::string line(1, event);
        line += '|' + std::to_string(getpid());
        if (label) line.append("|").append(label);
        [[maybe_unused]] auto const written = write(marker, line.data(), line.size());
    });
}

// What a profile keeps in its opaque bytes. When its marks were printed stands in the journal.
struct Profile {
    char const* function;
};
static_assert(sizeof(Profile) <= sizeof(NSCam::Utils::CamProfile) && std::is_trivially_copyable_v<Profile>);

}  // namespace
}  // namespace zeqcam::board

using namespace zeqcam::board;

std::uint64_t atrace_get_enabled_tags() {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return 0;
    std::uint64_t const tags = device->settings().traceTags;
    note(device->journal,
         [&] { return Entry{.kind = Kind::TraceTags, .number = static_cast<std::int64_t>(tags)}; });
    return tags;
}

void atrace_begin_body(char const* label) {
    InBoard const inside;
    opensSection(textOf(label));
    Device* const device = standing();
    if (!device) return;
    note(device->journal, [&] { return Entry{.kind = Kind::TraceBegin, .text = textOf(label)}; });
    withoutThrowing([&] { tSections.of(*device).emplace_back(textOf(label)); });
    writeMarker(*device, 'B', textOf(label));
}

void atrace_end_body() {
    InBoard const inside;
    closesSection();
    Device* const device = standing();
    if (!device) return;
    writeMarker(*device, 'E');
    withoutThrowing([&] {
        std::vector<std::string>& labels = tSections.of(*device);
        std::string closed;
        if (!labels.empty()) {
            closed = std::move(labels.back());
            labels.pop_back();
        }
        note(device->journal, [&] { return Entry{.kind = Kind::TraceEnd, .text = closed}; });
    });
}

namespace NSCam::Utils {

CamProfile::CamProfile(char const* function, char const* tag) : mOpaque{} {
    InBoard const inside;
    Profile const profile{function};
    std::memcpy(mOpaque, &profile, sizeof profile);
    if (Device* const device = standing()) {
        note(device->journal, [&] {
            return Entry{.kind = Kind::ProfileBegin, .text = textOf(function), .detail = textOf(tag)};
        });
    }
}

CamProfile::~CamProfile() {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return;
    note(device->journal, [this] {
        Profile profile{};
        std::memcpy(&profile, mOpaque, sizeof profile);
        return Entry{.kind = Kind::ProfileEnd, .text = textOf(profile.function)};
    });
}

void CamProfile::print(char const* format, ...) const {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return;
    std::va_list values;
    va_start(values, format);
    note(device->journal, [&] {
        return Entry{
            .kind = Kind::ProfileMark, .text = expand(textOf(format), values), .format = textOf(format)};
    });
    va_end(values);
}

}  // namespace NSCam::Utils

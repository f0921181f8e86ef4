#include "Device.h"

#include <zeqcam/platform/Properties.h>
#include <zeqcam/platform/UlxException.h>

#include <algorithm>

using namespace zeqcam::board;

namespace NSCam::Utils {

std::int32_t Properties::property_get_int32(char const* name, std::int32_t defaultValue) {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return defaultValue;
    auto const& properties = device->settings().properties;
    // Compared one by one: a lookup would make a string of the name.
    auto const found = std::find_if(properties.begin(), properties.end(),
                                    [name](auto const& property) { return name && property.first == name; });
    std::int32_t const value = found == properties.end() ? defaultValue : found->second;
    note(device->journal, [&] {
        return Entry{.kind = Kind::PropertyGet,
                     .number = value,
                     .text = textOf(name),
                     .detail = std::to_string(defaultValue)};
    });
    return value;
}

void Ulx::triggerUlxException(char const* module, char const* reserved, char const* message, ...) {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return;
    std::va_list values;
    va_start(values, message);
    withoutThrowing([&] {
        ExceptionReport report{textOf(module), expand(textOf(message), values)};
        note(device->journal, [&] {
            return Entry{.kind = Kind::ExceptionReport,
                         .text = report.module,
                         .detail = textOf(reserved),
                         .format = textOf(message),
                         .shown = report.message};
        });
        device->add(std::move(report));
    });
    va_end(values);
}

}  // namespace NSCam::Utils

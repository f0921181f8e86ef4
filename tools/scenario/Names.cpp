#include "scenario/Names.h"

#include <algorithm>
#include <utility>

namespace zeqcam::tool {

void Names::unknown(Fields const& fields, toml::node const& value, std::string_view name,
                    std::string message) const {
    if (mAllNamed) fields.faultAt(value, name, std::move(message));
}

std::optional<int> Names::sensor(std::int64_t id) const {
    auto const found = std::find(mIds.begin(), mIds.end(), id);
    return found == mIds.end() ? std::nullopt : std::optional(*found);
}

std::optional<int> Names::sensor(std::string_view name) const {
    auto const found = mSensorsByName.find(name);
    return found == mSensorsByName.end() ? std::nullopt : std::optional(found->second);
}

std::optional<int> Names::sensorOfKey(std::string_view key) const {
    auto const id = wholeNumber(key);
    return id ? sensor(*id) : sensor(key);
}

std::vector<int> Names::sensors(Fields const& fields, std::string_view name) const {
    std::vector<int> ids;
    for (auto const* const value : fields.list(name, "must be a list of sensors")) {
        if (!value->is_integer() && !value->is_string()) {
            fields.faultAt(*value, name, "must hold ids or names of sensors");
            continue;
        }
        auto const* const text = value->as_string();
        auto const id = text ? sensor(text->get()) : sensor(value->as_integer()->get());
        std::string const shown = text ? inQuotes(text->get()) : std::to_string(value->as_integer()->get());
        if (id) ids.push_back(*id);
        if (!id) unknown(fields, *value, name, "no sensor is " + shown);
    }
    return ids;
}

}  // namespace zeqcam::tool

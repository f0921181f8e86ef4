#pragma once

#include "scenario/Fields.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// What the file has defined so far, for those who refer to it.
class Names {
  public:
    // False where another sensor has that name already.
    bool addSensor(std::string name, int id) { return mSensorsByName.emplace(std::move(name), id).second; }
    void addId(int id) { mIds.insert(id); }
    bool addSupply(std::string const& name) { return mSupplies.insert(name).second; }
    [[nodiscard]] bool hasSupply(std::string const& name) const { return mSupplies.contains(name); }
    bool addController(std::string const& name) { return mControllers.insert(name).second; }
    [[nodiscard]] bool hasController(std::string const& name) const { return mControllers.contains(name); }

    bool addClient(std::string const& name) { return mClients.insert(name).second; }

    // A definition lacks its own name: what refers to it is not at fault.
    void lack() { mAllNamed = false; }
    void unknown(Fields const& fields, toml::node const& value, std::string_view name,
                 std::string message) const;

    [[nodiscard]] std::optional<int> sensor(std::int64_t id) const;
    [[nodiscard]] std::optional<int> sensor(std::string_view name) const;
    // The sensor that a key of a table names, by its id or name.
    [[nodiscard]] std::optional<int> sensorOfKey(std::string_view key) const;
    // A list of ids and names.
    [[nodiscard]] std::vector<int> sensors(Fields const& fields, std::string_view name) const;

  private:
    bool mAllNamed = true;
    std::set<int> mIds;
    std::map<std::string, int, std::less<>> mSensorsByName;
    std::set<std::string> mSupplies;
    std::set<std::string> mControllers;
    std::set<std::string> mClients;
};

}  // namespace zeqcam::tool

#include "devices/DeviceList.h"

#include "devices/RuntimePower.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <system_error>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

using Path = std::filesystem::path;

constexpr std::string_view kHubClass = "09";

// What a folder holds, in order; nothing where there is none.
std::vector<Path> entriesOf(Path const& folder) {
    std::vector<Path> entries;
    std::error_code none;
    for (auto const& entry : std::filesystem::directory_iterator(folder, none)) entries.push_back(entry);
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::string linkedName(Path const& link) {
    std::error_code none;
    return std::filesystem::read_symlink(link, none).filename();
}

// The drivers of a USB device are those of its interfaces; its own is the bus's.
std::string driverOf(Path const& device) {
    std::set<std::string> drivers;
    std::string const ofInterfaces = device.filename().string() + ':';
    for (Path const& entry : entriesOf(device)) {
        if (!entry.filename().string().starts_with(ofInterfaces)) continue;
        if (std::string driver = linkedName(entry / "driver"); !driver.empty()) drivers.insert(driver);
    }
    if (drivers.empty()) return linkedName(device / "driver");
    std::string all;
    for (std::string const& driver : drivers) all += (all.empty() ? "" : " ") + driver;
    return all;
}

std::string nameOf(Path const& device) {
    if (auto const product = firstLine(device / "product")) {
        auto const maker = firstLine(device / "manufacturer").value_or("");
        bool const tellsMaker = maker.empty() || product->starts_with(maker);
        return tellsMaker ? *product : maker + ' ' + *product;
    }
    return firstLine(device / "name").value_or("");
}

bool isHub(Path const& device) {
    return firstLine(device / "bDeviceClass") == kHubClass;
}

// Interfaces and I2C adapters are parts of devices.
bool isWhole(Path const& device) {
    std::string const name = device.filename();
    return name.find(':') == name.npos && !name.starts_with("i2c-");
}

// A part of a device goes with it: the nearest of its parents that says how its power is managed.
Path whosePower(Path const& part, Path const& top) {
    for (Path device = part; device != top && device.has_relative_path(); device = device.parent_path()) {
        auto const status = firstLine(device / "power" / "runtime_status");
        bool const isManaged = std::filesystem::exists(device / "power" / "control");
        if (isManaged && status && *status != "unsupported") return device;
    }
    return part;
}

class Search {
  public:
    explicit Search(Sysfs const& sysfs) : mSysfs(sysfs), mTop(sysfs.place("/sys/devices")) {}

    std::vector<FoundDevice> all() {
        for (Path const& entry : entriesOf(mSysfs.place("/sys/class/video4linux"))) addVideo(entry);
        for (std::string const bus : {"usb", "i2c"}) {
            for (Path const& entry : entriesOf(mSysfs.place("/sys/bus/" + bus + "/devices"))) {
                mNames.emplace(real(entry), mSysfs.nameOf(entry));
                if (isWhole(entry) && !isHub(entry)) add(real(entry), false);
            }
        }
        std::vector<FoundDevice> devices;
        for (auto const& [place, isVideo] : mFound) devices.push_back(describe(place, isVideo));
        std::sort(devices.begin(), devices.end(), [](FoundDevice const& left, FoundDevice const& right) {
            return std::tuple(!left.isVideo, left.path) < std::tuple(!right.isVideo, right.path);
        });
        return devices;
    }

  private:
    static Path real(Path const& entry) {
        std::error_code none;
        Path const resolved = std::filesystem::canonical(entry, none);
        return none ? entry : resolved;
    }

    void add(Path const& device, bool isVideo) { mFound.emplace(device, isVideo); }

    void addVideo(Path const& entry) {
        std::error_code none;
        Path const part = std::filesystem::canonical(entry / "device", none);
        if (!none) add(whosePower(part, real(mTop)), true);
    }

    [[nodiscard]] FoundDevice describe(Path const& place, bool isVideo) const {
        auto const known = mNames.find(place);
        FoundDevice device;
        device.path = known == mNames.end() ? mSysfs.nameOf(place) : known->second;
        device.name = nameOf(place);
        device.driver = driverOf(place);
        device.state = firstLine(place / "power" / "runtime_status").value_or("?");
        device.isVideo = isVideo;
        try {
            RuntimePower const power(mSysfs.resolve(device.path));
        } catch (std::runtime_error const& error) {
            device.obstacle = error.what();
        }
        return device;
    }

    Sysfs const& mSysfs;
    Path const mTop;
    std::map<Path, bool> mFound;         // whether it is a video device
    std::map<Path, std::string> mNames;  // as a bus calls it
};

}  // namespace

std::vector<FoundDevice> findDevices(Sysfs const& sysfs) {
    return Search(sysfs).all();
}

}  // namespace zeqcam::tool

#pragma once

#include "files/Descriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace zeqcam::tool {

// The runtime power management of one device: the files of its `power` folder. That folder stays open, so
// that a device that comes to the place of one that has gone is not taken for it. Thread-safe.
class RuntimePower {
  public:
    // What says whether the kernel may suspend the device, and after how long: what a run changes.
    struct Policy {
        std::string control;               // "on" or "auto"
        std::optional<std::string> delay;  // in milliseconds; none: the device has no such delay
    };

    // `device` is its folder. Throws std::runtime_error with the reason where its power cannot be controlled
    // by this process: it has no runtime power management, or its policy may not be written.
    explicit RuntimePower(std::filesystem::path const& device);

    // The rest throw std::system_error; what() is the reason in a few words.

    [[nodiscard]] Policy policy() const;
    void setPolicy(Policy const& policy) const;

    // "active", "suspended", "error" and others.
    [[nodiscard]] std::string status() const { return read("runtime_status"); }
    // Whether the kernel says that the device's policy does not count.
    [[nodiscard]] bool isForbidden() const;

  private:
    [[nodiscard]] std::string read(char const* attribute) const;
    void write(char const* attribute, std::string const& value) const;
    void requireWritable(char const* attribute) const;

    Descriptor mFolder;
};

// Whether the error says that there is no device any more.
bool isGone(std::error_code error);

}  // namespace zeqcam::tool

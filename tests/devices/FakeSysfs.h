#pragma once

#include "ToolRuns.h"
#include "devices/Sysfs.h"

#include <zeqcam/ThreadSafety.h>

#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zeqcam::tests {

// A tree of devices laid out like the kernel's, and a thread that does to them what the kernel does.
class FakeSysfs {
  public:
    // What the kernel does when the policy of a device has been written.
    enum class Does {
        Obeys,      // "on": the device becomes active; "auto": suspended
        StaysUp,    // never suspends: somebody uses it
        StaysDown,  // never resumes
        Fails,      // says that the driver has failed to resume it
        GoesAway,   // as it resumes
        Breaks,     // as it resumes, so that its status cannot be read
    };

    FakeSysfs();
    ~FakeSysfs();
    FakeSysfs(FakeSysfs const&) = delete;
    FakeSysfs& operator=(FakeSysfs const&) = delete;

    [[nodiscard]] tool::Sysfs sysfs() const { return tool::Sysfs(mFolder.path()); }

    // An awake USB device as the kernel has found it, whose policy is `on` with a delay of 2,000 ms: "1-1"
    // stands at /sys/bus/usb/devices/1-1. Returns its folder, in the tree.
    std::string addUsb(std::string const& name, Does does = Does::Obeys);

    // Writes a file of the tree, with its folders; `path` is from the tree's top. And a link, to another such
    // path.
    void put(std::string const& path, std::string const& text) const;
    void link(std::string const& path, std::string const& to) const;

    // Everybody may look at the tree, and this file of a device may be written by nobody but root.
    void protect(std::string const& name, std::string const& file) const;

    // "on 2000": the control and the delay of a device by its name.
    [[nodiscard]] std::string policyOf(std::string const& name) const;
    // What has become of the devices so far, in order: "1-1 active".
    [[nodiscard]] std::vector<std::string> changes() const;

  private:
    void play();
    void react(int watch);

    Folder const mFolder;
    int const mNotices;
    int const mEnd;
    mutable std::mutex mLock;
    std::map<int, std::pair<std::string, Does>> mWatched ZEQCAM_GUARDED_BY(mLock);  // name, by watch
    std::vector<std::string> mChanges ZEQCAM_GUARDED_BY(mLock);
    std::thread mKernel;
};

}  // namespace zeqcam::tests

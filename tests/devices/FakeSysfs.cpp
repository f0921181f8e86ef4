#include "FakeSysfs.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <string_view>

namespace zeqcam::tests {
namespace {

namespace files = std::filesystem;

std::string folderOf(std::string const& name) {
    return "devices/usb1/" + name;
}

}  // namespace

FakeSysfs::FakeSysfs() : mNotices(inotify_init1(IN_CLOEXEC)), mEnd(eventfd(0, EFD_CLOEXEC)) {
    files::create_directories(mFolder.path("devices"));
    mKernel = std::thread([this] { play(); });
}

FakeSysfs::~FakeSysfs() {
    eventfd_write(mEnd, 1);
    mKernel.join();
    close(mNotices);
    close(mEnd);
}

std::string FakeSysfs::addUsb(std::string const& name, Does does) {
    std::string const folder = folderOf(name);
    put(folder + "/power/control", "on\n");
    put(folder + "/power/autosuspend_delay_ms", "2000\n");
    put(folder + "/power/runtime_status", "active\n");
    put(folder + "/bDeviceClass", "00\n");
    link("bus/usb/devices/" + name, folder);
    std::lock_guard const hold(mLock);
    int const watch = inotify_add_watch(mNotices, mFolder.path(folder + "/power").c_str(), IN_CLOSE_WRITE);
    mWatched[watch] = {name, does};
    return folder;
}

void FakeSysfs::put(std::string const& path, std::string const& text) const {
    files::create_directories(files::path(mFolder.path(path)).parent_path());
    // In one step, as readers find the kernel's files whole.
    std::ofstream(mFolder.path(path + ".new")) << text;
    files::rename(mFolder.path(path + ".new"), mFolder.path(path));
}

void FakeSysfs::link(std::string const& path, std::string const& to) const {
    files::path const folder = files::path(mFolder.path(path)).parent_path();
    files::create_directories(folder);
    files::create_symlink(files::proximate(mFolder.path(to), folder), mFolder.path(path));
}

void FakeSysfs::protect(std::string const& name, std::string const& file) const {
    files::permissions(mFolder.path(), files::perms::all);
    files::permissions(mFolder.path(folderOf(name) + "/power/" + file),
                       files::perms::owner_read | files::perms::group_read | files::perms::others_read);
}

std::string FakeSysfs::policyOf(std::string const& name) const {
    auto const line = [&](std::string const& file) {
        return tool::firstLine(mFolder.path(folderOf(name) + "/power/" + file)).value_or("none");
    };
    return line("control") + ' ' + line("autosuspend_delay_ms");
}

std::vector<std::string> FakeSysfs::changes() const {
    std::lock_guard const hold(mLock);
    return mChanges;
}

void FakeSysfs::play() {
    std::array<pollfd, 2> sources{{{mNotices, POLLIN, 0}, {mEnd, POLLIN, 0}}};
    while (poll(sources.data(), sources.size(), -1) > 0 && sources[1].revents == 0) {
        alignas(inotify_event) std::array<char, 4096> notices{};
        ssize_t const size = read(mNotices, notices.data(), notices.size());
        for (ssize_t at = 0; at < size;) {
            auto const* const notice =
                reinterpret_cast<inotify_event const*>(&notices[static_cast<std::size_t>(at)]);
            if (notice->len > 0 && std::string_view(notice->name) == "control") react(notice->wd);
            at += static_cast<ssize_t>(sizeof(inotify_event) + notice->len);
        }
    }
}

void FakeSysfs::react(int watch) {
    std::lock_guard const hold(mLock);
    auto const& [name, does] = mWatched.at(watch);
    std::string const folder = folderOf(name);
    std::string const file = folder + "/power/runtime_status";
    auto const control = tool::firstLine(mFolder.path(folder + "/power/control"));
    if (control != "on" && control != "auto") return;  // it is being written
    bool const resumes = control == "on";
    std::string status = resumes ? "active" : "suspended";
    if (does == Does::StaysUp) status = "active";
    if (does == Does::StaysDown) status = "suspended";
    if (does == Does::Fails && resumes) status = "error";
    if (tool::firstLine(mFolder.path(file)) == status) return;
    if (does == Does::GoesAway && resumes) {
        // In one step for who looks for it; then for who has it open.
        files::rename(mFolder.path(folder), mFolder.path(folder + ".gone"));
        files::remove_all(mFolder.path(folder + ".gone"));
        status = "gone";
    } else if (does == Does::Breaks && resumes) {
        // What no process can read of itself at its begin.
        files::create_symlink("/proc/self/mem", mFolder.path(file + ".new"));
        files::rename(mFolder.path(file + ".new"), mFolder.path(file));
        status = "broken";
    } else {
        put(file, status + '\n');
    }
    mChanges.push_back(name + ' ' + status);
}

}  // namespace zeqcam::tests

#pragma once

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>

namespace zeqcam::tests {

// What the kernel tells of its devices from here on.
class KernelEvents {
  public:
    KernelEvents() : mSocket(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT)) {
        sockaddr_nl own{};
        own.nl_family = AF_NETLINK;
        own.nl_groups = 1;
        EXPECT_EQ(bind(mSocket, reinterpret_cast<sockaddr*>(&own), sizeof own), 0);
        // Nothing is told for so long only where nothing comes any more.
        timeval const silence{.tv_sec = 120, .tv_usec = 0};
        EXPECT_EQ(setsockopt(mSocket, SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence), 0);
    }
    ~KernelEvents() { close(mSocket); }
    KernelEvents(KernelEvents const&) = delete;
    KernelEvents& operator=(KernelEvents const&) = delete;

    // Returns when it holds; asks after each event.
    template <class Condition>
    void waitUntil(Condition condition) const {
        std::array<char, 8192> event{};
        while (!condition()) ASSERT_GT(recv(mSocket, event.data(), event.size(), 0), 0) << "silence";
    }

  private:
    int const mSocket;
};

}  // namespace zeqcam::tests

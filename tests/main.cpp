#include <zeqcam/board/QosFile.h>

#include <gtest/gtest.h>

#include <iostream>
#include <string>

// Namespaces are entered before any thread starts. Tests that need the QoS file skip where it may not stand.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string const reason = testing::GTEST_FLAG(list_tests) ? "" : zeqcam::board::QosFile::provide();
    if (!reason.empty())
        std::cerr << "no QoS file for this process, as on a device without it: " << reason << '\n';
    return RUN_ALL_TESTS();
}

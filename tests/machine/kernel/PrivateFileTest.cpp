#include <zeqcam/board/QosFile.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

// The QoS file of this process, in a machine whose kernel has none.
namespace zeqcam::tests {
namespace {

TEST(PrivateFile, StandsForThisProcessAlone) {
    ASSERT_TRUE(board::QosFile::provided());
    std::string const path = "/sys/rsc/qos/set_task_qos";
    EXPECT_EQ(access(path.c_str(), W_OK), 0);
    EXPECT_NE(access(("/proc/1/root" + path).c_str(), F_OK), 0) << "the first process of the machine sees it";
}

}  // namespace
}  // namespace zeqcam::tests

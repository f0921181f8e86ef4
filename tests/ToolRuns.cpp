#include "ToolRuns.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

namespace zeqcam::tests {
namespace {

std::string textOf(std::string const& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

}  // namespace

int loggedProcess(std::string const& line) {
    int process = 0;
    std::sscanf(line.c_str(), "%*s %*s %d", &process);
    return process;
}

Ran runCommand(std::string const& command, int signal) {
    Ran ran{-1, {}};
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return ran;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe)) {
        ran.output += line.data();
        bool const hasBegun = std::string_view(line.data()).ends_with("powerOn +\n");
        if (hasBegun && signal != kNoSignal) kill(loggedProcess(line.data()), signal);
    }
    int const status = pclose(pipe);
    if (WIFEXITED(status)) ran.status = WEXITSTATUS(status);
    return ran;
}

Ran runTool(std::string const& arguments, std::string const& errorsTo, int signal) {
    return runCommand("\"" ZEQCAM_POWER_PATH "\" " + arguments + " 2>" + errorsTo, signal);
}

Ran runScenario(std::string const& text, std::string const& options, std::string const& errorsTo,
                int signal) {
    TemporaryFile const file(".toml", text);
    return runTool("run \"" + file.path + "\" " + options, errorsTo, signal);
}

std::string readByXml(std::string const& file, std::string const& path) {
    auto const [status, found] = runCommand("xmllint --xpath '" + path + "' " + file);
    if (status == 127) return "no xmllint";
    return status == 0 ? found.substr(0, found.find_last_not_of('\n') + 1) : "";
}

TemporaryFile::TemporaryFile(std::string const& ending, std::string const& text)
    : path(testing::TempDir() + "zeqcam-" + std::to_string(getpid()) + ending) {
    std::ofstream(path) << text;
}

TemporaryFile::~TemporaryFile() {
    std::remove(path.c_str());
}

std::string TemporaryFile::text() const {
    return textOf(path);
}

Folder::Folder() : mPath(testing::TempDir() + "zeqcam-XXXXXX") {
    EXPECT_NE(mkdtemp(mPath.data()), nullptr);
}

Folder::~Folder() {
    std::filesystem::remove_all(mPath);
}

std::string Folder::put(std::string const& name, std::string const& text) const {
    std::ofstream(path(name)) << text;
    return path(name);
}

std::string Folder::text(std::string const& name) const {
    return textOf(path(name));
}

std::vector<std::string> Folder::names() const {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(mPath))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace zeqcam::tests

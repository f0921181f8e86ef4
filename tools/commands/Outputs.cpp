#include "commands/Outputs.h"

#include "commands/Command.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <sstream>
#include <system_error>

namespace zeqcam::tool {
namespace {

// A slip of the command line must not cost a file.
void requireApart(std::string const& output, std::string const& other) {
    std::error_code none;
    if (std::filesystem::is_regular_file(output, none) && std::filesystem::equivalent(output, other, none)) {
        throw CannotOpen(output + ": would replace " + other);
    }
}

}  // namespace

Outputs::Outputs() {
    for (View const& view : fileViews()) mOutputs.push_back({&view});
}

void Outputs::addOptions(CLI::App& app) {
    for (Output& output : mOutputs) {
        app.add_option("--" + std::string(output.view->option), output.path, std::string(output.view->help))
            ->type_name("FILE");
    }
}

void Outputs::open(std::string const& input) {
    for (Output const& output : mOutputs) requireApart(output.path, input);
    for (auto output = mOutputs.begin(); output != mOutputs.end(); ++output) {
        if (output->path.empty()) continue;
        output->file.emplace(output->path);
        for (auto other = mOutputs.begin(); other != output; ++other) requireApart(output->path, other->path);
    }
}

bool Outputs::write(Record const& record, Presentation const& presentation) {
    bool all = true;
    for (Output& output : mOutputs) {
        try {
            if (!output.file) continue;
            std::ostringstream text;
            output.view->write(record, presentation, text);
            output.file->write(text.str());
        } catch (std::exception const& error) {
            complain(error.what());
            all = false;
        }
    }
    return all;
}

}  // namespace zeqcam::tool

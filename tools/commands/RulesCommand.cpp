#include "commands/RulesCommand.h"

#include "rules/Rule.h"

#include <CLI/CLI.hpp>
#include <iostream>

namespace zeqcam::tool {
namespace {

int listRules() {
    for (auto const& [of, heading] :
         {std::pair(Rule::Of::Sequence, "Of the sequence: broken, the run fails."),
          std::pair(Rule::Of::Clients,
                    "\nOf its clients: broken, a warning; "
                    "with --strict the run fails.")}) {
        std::cout << heading << '\n';
        for (Rule const& rule : rules()) {
            if (rule.of == of) std::cout << "  " << rule.name << "\n      " << rule.sentence << '\n';
        }
    }
    std::cout.flush();
    if (!std::cout) complain("the output cannot be written");
    return std::cout ? kAllHeld : kFailed;
}

}  // namespace

std::function<int()> addRules(CLI::App& app) {
    app.footer("Each is switched off by its name: zeqcam-power run --allow NAME.");
    return listRules;
}

}  // namespace zeqcam::tool

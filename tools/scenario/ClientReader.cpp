#include "scenario/ClientReader.h"

#include <set>
#include <string>
#include <utility>
#include <variant>

namespace zeqcam::tool {
namespace {

bool asksController(Step const& step) {
    return std::holds_alternative<PowerOn>(step.action) || std::holds_alternative<PowerOff>(step.action) ||
           std::holds_alternative<Status>(step.action) || std::holds_alternative<Destroy>(step.action);
}

// A client that let go of its controller has none to ask any more.
void refuseStepsAfterDestroy(Fields const& client, std::vector<Step> const& steps) {
    int destroyed = 0;
    std::set<int> refused;  // a step that is repeated is at fault once
    for (Step const& step : steps) {
        if (destroyed != 0 && asksController(step) && refused.insert(step.line).second) {
            client.faultAtLine(step.line, "steps." + std::string(keyOf(step)),
                               "the client let go of its controller on line " + std::to_string(destroyed));
        }
        if (std::holds_alternative<Destroy>(step.action)) destroyed = step.line;
    }
}

}  // namespace

Controller readController(Fields const& fields, Names& names) {
    Controller controller{fields.text("name"), names.sensors(fields, "sensors")};
    if (controller.name.empty()) {
        names.lack();
    } else if (!names.addController(controller.name)) {
        fields.fault("name", inQuotes(controller.name) + " names a controller already");
    }
    return controller;
}

Client readClient(Fields const& fields, Names& names) {
    Client client{fields.text("name"), fields.text("controller"), {}};
    if (!client.name.empty() && !names.addClient(client.name)) {
        fields.fault("name", inQuotes(client.name) + " names a client already");
    }
    if (!client.controller.empty() && !names.hasController(client.controller)) {
        names.unknown(fields, *fields.node("controller"), "controller",
                      "no controller is named " + inQuotes(client.controller));
    }
    client.steps = readSteps(fields, names);
    refuseStepsAfterDestroy(fields, client.steps);
    return client;
}

}  // namespace zeqcam::tool

#include "scenario.h"

#include "scenario_lists.h"

namespace fault_testing {

const std::vector<Scenario> &scenarios() {
    static const std::vector<Scenario> all = [] {
        std::vector<Scenario> list;
        addFileScenarios(list);
        addChangeScenarios(list);
        addTailScenarios(list);
        addTransactionScenarios(list);
        addMaintenanceScenarios(list);
        return list;
    }();
    return all;
}

const Scenario *findScenario(const std::string &name) {
    for (const Scenario &scenario : scenarios())
        if (name == scenario.name) return &scenario;
    return nullptr;
}

}  // namespace fault_testing

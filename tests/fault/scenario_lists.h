#pragma once

#include "scenario.h"

namespace fault_testing {

void addChangeScenarios(std::vector<Scenario> &all);
void addTailScenarios(std::vector<Scenario> &all);
void addFileScenarios(std::vector<Scenario> &all);
void addTransactionScenarios(std::vector<Scenario> &all);
void addMaintenanceScenarios(std::vector<Scenario> &all);

}  // namespace fault_testing

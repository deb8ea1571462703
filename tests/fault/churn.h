// Scenarios made by chance: files of every kind after many changes, and then some changes more.
#pragma once

#include "scenario.h"

#include <vector>

namespace fault_testing {

const std::vector<Scenario> &churnScenarios();

}  // namespace fault_testing

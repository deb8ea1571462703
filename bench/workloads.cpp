#include "workload.h"

namespace bench {

// In this order they run. Neighbours that change files of one shape share one copy of them, so what adds records comes
// last.
const std::vector<Workload> &workloads() {
    static const std::vector<Workload> kWorkloads = [] {
        std::vector<Workload> all;
        for (const auto &part : {readingWorkloads(), scanningWorkloads(), changingWorkloads(), transactionWorkloads(),
                                 processWorkloads(), compressionWorkloads(), tailWorkloads(), maintenanceWorkloads()})
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }();
    return kWorkloads;
}

const Workload &workloadNamed(const std::string &name) {
    for (const Workload &workload : workloads())
        if (name == workload.name) return workload;
    throw Failure("no workload " + name);
}

}  // namespace bench

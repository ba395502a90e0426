#include "ThreadPlan.h"

#include <algorithm>
#include <thread>

namespace velin {
namespace cli {

int ThreadPlan::threadsFor(int slot) const { return budget / volumesAtOnce + (slot < budget % volumesAtOnce ? 1 : 0); }

ThreadPlan planThreads(int jobs, int threads, int volumes, int cores) {
    ThreadPlan plan;
    plan.budget = threads > 0 ? threads : std::max({1, cores, jobs});
    plan.volumesAtOnce = std::max(1, std::min({jobs, plan.budget, volumes}));
    return plan;
}

int resolvedThreads(int threads) {
    if (threads > 0) return threads;
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

}  // namespace cli
}  // namespace velin

#pragma once

// How the threads of one `velin segment` run are shared among the volumes that run at once.

namespace velin {
namespace cli {

/// --threads is the budget of the whole run; at most that many volumes run at once (fewer when -j or the
/// number of inputs says so), and each gets an equal share of the budget, the first ones a thread more when
/// it does not divide. So -j and --threads together never run more threads than asked for.
struct ThreadPlan {
    int budget = 1;
    int volumesAtOnce = 1;
    /// Threads of the volume running in `slot`, 0 <= slot < volumesAtOnce.
    int threadsFor(int slot) const;
};

/// `threads` 0 (not given) makes the budget one thread per processor core (`cores`), or -j when that is
/// more: -j alone asks for that many volumes at once.
ThreadPlan planThreads(int jobs, int threads, int volumes, int cores);

/// A thread count of the engine's options as a number: 0 stands for one per processor core.
int resolvedThreads(int threads);

}  // namespace cli
}  // namespace velin

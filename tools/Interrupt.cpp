#include "Interrupt.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace velin {
namespace cli {
namespace {

// One word holds both the number of volumes being written and whether a stop was asked for, so that the
// signal handler and a writer starting or finishing decide on the same state: with two separate variables a
// writer could start between the handler's test and its exit and leave a half-written folder.
constexpr unsigned kStopAsked = 1u << 30;
std::atomic<unsigned> gState{0};
std::atomic<bool> gClearLine{false};

const char kMessage[] = "velin: interrupted; volumes not finished have no outputs\n";

// Only async-signal-safe calls from here on: it runs inside the signal handler.
[[noreturn]] void stopNow() {
#ifdef _WIN32
    if (gClearLine) _write(2, "\n", 1);
    _write(2, kMessage, sizeof kMessage - 1);
#else
    if (gClearLine) (void)!write(2, "\n", 1);
    (void)!write(2, kMessage, sizeof kMessage - 1);
#endif
    std::_Exit(kExitInterrupted);
}

extern "C" void onInterrupt(int) {
    if ((gState.fetch_or(kStopAsked) & ~kStopAsked) == 0) stopNow();
}

}  // namespace

void installInterruptHandler(bool clearProgressLine) {
    gClearLine = clearProgressLine;
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
}

OutputWriting::OutputWriting() {
    // A stop asked for while nothing was being written is ending the process right now; starting a volume's
    // files would only leave them half written, so this thread waits for the end instead.
    if (gState.fetch_add(1) == kStopAsked)
        for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
}

OutputWriting::~OutputWriting() {
    if (gState.fetch_sub(1) == (kStopAsked | 1u)) stopNow();
}

}  // namespace cli
}  // namespace velin

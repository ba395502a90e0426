#include "Interrupt.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace velin {
namespace cli {
namespace {

std::atomic<int> gWriters{0};
std::atomic<bool> gInterrupted{false};
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
    gInterrupted = true;
    if (gWriters.load() == 0) stopNow();
}

}  // namespace

void installInterruptHandler(bool clearProgressLine) {
    gClearLine = clearProgressLine;
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
}

OutputWriting::OutputWriting() { ++gWriters; }

OutputWriting::~OutputWriting() {
    if (--gWriters == 0 && gInterrupted.load()) stopNow();
}

}  // namespace cli
}  // namespace velin

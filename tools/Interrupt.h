#pragma once

// Ctrl-C and termination requests. The program stops at once, except while a volume's outputs are being
// written: then it stops as soon as that volume's files are complete, so that an interrupted run leaves only
// whole files and no temporary ones behind.

namespace velin {
namespace cli {

/// Exit status of a run stopped by Ctrl-C, as shells report a process ended by SIGINT.
constexpr int kExitInterrupted = 130;

/// Installs the handlers for SIGINT and SIGTERM; `clearProgressLine` says whether a status line may be on the
/// terminal and needs to be ended before the message.
void installInterruptHandler(bool clearProgressLine);

/// While one of these lives, an interruption waits; when the last one ends, a waiting interruption stops the
/// program.
class OutputWriting {
public:
    OutputWriting();
    ~OutputWriting();
    OutputWriting(const OutputWriting&) = delete;
    OutputWriting& operator=(const OutputWriting&) = delete;
};

}  // namespace cli
}  // namespace velin

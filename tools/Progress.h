#pragma once

// Progress of running volumes. On a terminal one status line on stderr is redrawn as B-scans are done;
// elsewhere nothing is shown until a volume finishes. Every finished volume gets one permanent line.

#include <mutex>
#include <string>
#include <vector>

namespace velin {
namespace cli {

struct VolumeProgress {
    std::string name;
    int done, total;
};

/// The status line for the running volumes, at most `width` characters. The counts always show; when the
/// line would be too long the file names are shortened in their middle, and with many volumes the
/// percentages are left out.
std::string statusLine(const std::vector<VolumeProgress>& running, std::size_t width);

class ProgressBoard {
public:
    /// `live` draws the status line; normally stderrIsTerminal().
    explicit ProgressBoard(bool live);

    /// Volume `slot` (an index of the caller's choosing) named `name` has done `done` of `total` B-scans.
    void update(int slot, const std::string& name, int done, int total);
    /// Volume `slot` is finished: its status leaves the line and `line` is printed on `stream` for good.
    void finish(int slot, const std::string& line, bool toStderr);

private:
    struct Entry {
        int slot;
        VolumeProgress progress;
    };
    void redraw();
    void clearLine();

    bool live_;
    std::mutex mutex_;
    std::vector<Entry> running_;
    std::size_t drawnWidth_ = 0;
};

bool stderrIsTerminal();

}  // namespace cli
}  // namespace velin

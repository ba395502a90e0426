#include "Progress.h"

#include <algorithm>
#include <cstdio>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace velin {
namespace cli {
namespace {

// Longer status lines would wrap on a narrow terminal, and a wrapped line cannot be redrawn in place.
constexpr std::size_t kMaxLineWidth = 78;

}  // namespace

bool stderrIsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

ProgressBoard::ProgressBoard(bool live) : live_(live) {}

void ProgressBoard::update(int slot, const std::string& name, int done, int total) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto entry = std::find_if(running_.begin(), running_.end(), [slot](const Entry& e) { return e.slot == slot; });
    if (entry == running_.end()) {
        // Volumes keep their input order on the line, whichever started first.
        const auto place = std::find_if(running_.begin(), running_.end(), [slot](const Entry& e) { return e.slot > slot; });
        running_.insert(place, Entry{slot, name, done, total});
    } else
        entry->done = done, entry->total = total;
    if (live_) redraw();
}

void ProgressBoard::finish(int slot, const std::string& line, bool toStderr) {
    std::lock_guard<std::mutex> lock(mutex_);
    running_.erase(std::remove_if(running_.begin(), running_.end(), [slot](const Entry& e) { return e.slot == slot; }),
                   running_.end());
    if (live_) clearLine();
    std::FILE* stream = toStderr ? stderr : stdout;
    std::fprintf(stream, "%s\n", line.c_str());
    std::fflush(stream);
    if (live_ && !running_.empty()) redraw();
}

void ProgressBoard::clearLine() {
    if (drawnWidth_ == 0) return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(drawnWidth_), "");
    std::fflush(stderr);
    drawnWidth_ = 0;
}

void ProgressBoard::redraw() {
    std::string text = "velin:";
    for (const Entry& e : running_) {
        const int percent = e.total > 0 ? e.done * 100 / e.total : 0;
        text += " " + e.name + " " + std::to_string(e.done) + "/" + std::to_string(e.total) + " B-scans (" +
                std::to_string(percent) + "%)";
    }
    if (text.size() > kMaxLineWidth) text = text.substr(0, kMaxLineWidth - 3) + "...";
    const std::size_t width = std::max(text.size(), drawnWidth_);
    std::fprintf(stderr, "\r%-*s", static_cast<int>(width), text.c_str());
    std::fflush(stderr);
    drawnWidth_ = text.size();
}

}  // namespace cli
}  // namespace velin

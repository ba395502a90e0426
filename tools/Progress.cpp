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

std::string shortened(const std::string& name, std::size_t width) {
    if (name.size() <= width) return name;
    if (width <= 2) return name.substr(0, width);
    // The start usually tells files apart (patient or scan numbers), so it keeps the larger share.
    const std::size_t tail = (width - 2) / 3, head = width - 2 - tail;
    return name.substr(0, head) + ".." + name.substr(name.size() - tail);
}

}  // namespace

std::string statusLine(const std::vector<VolumeProgress>& running, std::size_t width) {
    constexpr std::size_t kShortestName = 6;
    const std::string prefix = "velin:";
    // Counts with their percentage while they fit beside names of a few characters; bare counts otherwise
    // (many volumes at once), followed by the unit once.
    for (const bool detailed : {true, false}) {
        std::vector<std::string> counts;
        std::size_t fixed = prefix.size() + (detailed ? 0 : 8), names = 0;
        for (const VolumeProgress& v : running) {
            std::string count = " " + std::to_string(v.done) + "/" + std::to_string(v.total);
            if (detailed) count += " B-scans (" + std::to_string(v.total > 0 ? v.done * 100 / v.total : 0) + "%)";
            fixed += 1 + count.size();
            names += v.name.size();
            counts.push_back(count);
        }
        if (detailed && fixed + kShortestName * running.size() > width) continue;
        // What is left for the names is shared out evenly.
        std::size_t budget = std::string::npos;
        if (fixed + names > width)
            budget = std::max(kShortestName, width > fixed ? (width - fixed) / running.size() : 0);
        std::string text = prefix;
        for (std::size_t i = 0; i < running.size(); ++i) text += " " + shortened(running[i].name, budget) + counts[i];
        if (!detailed) text += " B-scans";
        if (text.size() > width) text = text.substr(0, width - 3) + "...";
        return text;
    }
    return prefix;
}

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
        running_.insert(place, Entry{slot, VolumeProgress{name, done, total}});
    } else
        entry->progress.done = done, entry->progress.total = total;
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
    std::vector<VolumeProgress> running;
    for (const Entry& e : running_) running.push_back(e.progress);
    const std::string text = statusLine(running, kMaxLineWidth);
    const std::size_t width = std::max(text.size(), drawnWidth_);
    std::fprintf(stderr, "\r%-*s", static_cast<int>(width), text.c_str());
    std::fflush(stderr);
    drawnWidth_ = text.size();
}

}  // namespace cli
}  // namespace velin

#include "VolumeJob.h"

#include "CliError.h"
#include "Interrupt.h"
#include "Pictures.h"
#include "Report.h"
#include "ThreadPlan.h"

#include <Velin/Io/AtomicFile.h>
#include <Velin/Io/NpyFile.h>
#include <Velin/Io/PngFile.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace velin {
namespace cli {
namespace {

namespace fs = std::filesystem;

io::Picture toPicture(const RgbImage& image) {
    io::Picture picture(image.width(), image.height(), 3);
    picture.pixels = image.pixels();
    return picture;
}

std::string overlayName(int bScan) {
    char name[32];
    std::snprintf(name, sizeof name, "overlay_%03d.png", bScan);
    return name;
}

// One output file: its name and how to write it to a path.
struct OutputFile {
    std::string name;
    std::function<void(const std::string&)> write;
    bool afterAlongside = false;  ///< needs what OutputFolder::writeAll's `alongside` computes
};

// Collects the names of the files written, and turns a failed write into an error naming the file.
class OutputFolder {
public:
    explicit OutputFolder(std::string dir) : dir_(std::move(dir)) {
        std::error_code error;
        fs::create_directories(dir_, error);
        if (error) throw CliError("cannot create the output folder: " + error.message(), dir_);
    }

    template <typename Write>
    void write(const std::string& name, Write&& writeTo) {
        writeFile(name, writeTo);
        names_.push_back(name);
    }

    /// Writes several files on up to `threads` threads: compressing the pictures is most of the program's own
    /// work. Meanwhile the calling thread runs `alongside` first; files marked `afterAlongside` are written
    /// once it has ended, and not at all when it throws. The names are recorded in the order given; the first
    /// failure (of `alongside`, then of the files in that order) is thrown once every writer has ended.
    void writeAll(const std::vector<OutputFile>& files, int threads, const std::function<void()>& alongside) {
        std::vector<std::size_t> order;
        for (bool later : {false, true})
            for (std::size_t i = 0; i < files.size(); ++i)
                if (files[i].afterAlongside == later) order.push_back(i);
        std::vector<std::exception_ptr> failures(files.size());
        std::exception_ptr alongsideFailure;
        std::mutex mutex;
        std::condition_variable ended;
        bool alongsideEnded = false;
        std::atomic<std::size_t> next{0};
        auto worker = [&] {
            for (std::size_t k = next++; k < order.size(); k = next++) {
                const OutputFile& file = files[order[k]];
                if (file.afterAlongside) {
                    std::unique_lock<std::mutex> lock(mutex);
                    ended.wait(lock, [&] { return alongsideEnded; });
                    if (alongsideFailure) continue;
                }
                try {
                    writeFile(file.name, file.write);
                } catch (...) {
                    failures[order[k]] = std::current_exception();
                }
            }
        };
        std::vector<std::thread> pool;
        for (int t = 1; t < std::min<int>(threads, static_cast<int>(files.size())); ++t) pool.emplace_back(worker);
        try {
            alongside();
        } catch (...) {
            alongsideFailure = std::current_exception();
        }
        {
            std::lock_guard<std::mutex> lock(mutex);
            alongsideEnded = true;
        }
        ended.notify_all();
        worker();
        for (std::thread& thread : pool) thread.join();
        if (alongsideFailure) std::rethrow_exception(alongsideFailure);
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (failures[i]) std::rethrow_exception(failures[i]);
            names_.push_back(files[i].name);
        }
    }

    const std::vector<std::string>& names() const { return names_; }

private:
    template <typename Write>
    void writeFile(const std::string& name, Write&& writeTo) const {
        const std::string path = (fs::path(dir_) / name).string();
        try {
            writeTo(path);
        } catch (const io::FileWriteError& e) {
            throw CliError(e.what(), path);
        }
    }

    std::string dir_;
    std::vector<std::string> names_;
};

// The error line of a volume that could not be segmented says what a user can change about it.
std::string failureText(const Result& result, int axialFactor) {
    if (result.outcome == Outcome::TooFewBScans)
        return "the volume has " + std::to_string(result.numBScans) + " B-scan" + (result.numBScans == 1 ? "" : "s") +
               ", at least 10 are needed; report.json written";
    return "no B-scan could be segmented with axial factor " + std::to_string(axialFactor) +
           "; check the depth spacing (--spacing-um) or choose --axial-factor; report.json written";
}

// A folder reused from an earlier run may hold outputs this run does not write again: overlays of other
// B-scans, or the planes of a run that segmented when this one could not. They would contradict report.json,
// so they go; files the program never writes are left alone.
void removeStaleOutputs(const std::string& dir, const std::vector<std::string>& written) {
    static const std::set<std::string> fixedNames = {"ilm.npy",         "rnfl.npy",      "ilm_value.npy",
                                                     "rnfl_weight.npy", "thickness.npy", "thickness.png"};
    auto isOverlay = [](const std::string& name) {
        return name.size() == 15 && name.compare(0, 8, "overlay_") == 0 && name.compare(11, 4, ".png") == 0 &&
               std::all_of(name.begin() + 8, name.begin() + 11, [](char c) { return c >= '0' && c <= '9'; });
    };
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(dir, error)) {
        const std::string name = entry.path().filename().string();
        if ((fixedNames.count(name) || isOverlay(name)) &&
            std::find(written.begin(), written.end(), name) == written.end())
            fs::remove(entry.path(), error);
    }
}

}  // namespace

GridKind chooseGrid(GridChoice choice, const std::string& scanKind) {
    switch (choice) {
    case GridChoice::Etdrs:
        return GridKind::Etdrs;
    case GridChoice::Circle:
        return GridKind::Circle;
    case GridChoice::None:
        return GridKind::None;
    case GridChoice::Auto:
        break;
    }
    if (scanKind == "macula") return GridKind::Etdrs;
    if (scanKind == "disc") return GridKind::Circle;
    return GridKind::None;
}

VolumeSummary segmentFile(const std::string& input, const std::string& outputDir, const SegmentSettings& settings,
                          const ProgressCallback& progress) {
    io::Volume volume;
    try {
        volume = io::readVolume(input, settings.read);
    } catch (const io::VolumeFileError& e) {
        throw CliError(e.what(), input);
    } catch (const std::bad_alloc&) {
        throw CliError("not enough memory to read the volume", input);
    }
    return segmentVolume(volume, input, outputDir, settings, progress);
}

VolumeSummary segmentVolume(const io::Volume& volume, const std::string& label, const std::string& outputDir,
                            const SegmentSettings& settings, const ProgressCallback& progress) {
    VolumeSummary summary;
    summary.input = label;
    summary.outputDir = outputDir;

    const std::string eye = settings.eye.empty() ? volume.eye : settings.eye;
    ReportInput input{label, volume.numBScans, volume.numAScans, volume.depth, eye, volume.scanKind, {}, {}, {}};
    if (settings.spacingGiven) {
        input.spacing = settings.spacing;
        input.spacingSource = "command line";
    } else {
        input.spacing = {volume.spacingDepthUm, volume.spacingAScanUm, volume.spacingBScanUm};
        const bool any = input.spacing.depthUm > 0 || input.spacing.aScanUm > 0 || input.spacing.bScanUm > 0;
        input.spacingSource = any ? "file" : "unknown";
    }

    const AxialChoice axial = chooseAxialFactor(settings.axialFactor, input.spacing.depthUm, volume.depth);
    input.axialFactorSource = axial.source;
    const VolumeView view{volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth};
    Options options = settings.engine;
    options.axialFactor = axial.factor;
    options.progress = progress;
    try {
        summary.result = segment(view, options);
    } catch (const std::invalid_argument& e) {
        throw CliError(e.what(), label);
    } catch (const std::bad_alloc&) {
        throw CliError("not enough memory to segment the volume", label);
    }
    const Result& result = summary.result;

    const ThicknessMap map = computeThickness(result, input.spacing);
    summary.thickness = summariseThickness(result, map);
    summary.unit = map.unit();

    GridKind kind = chooseGrid(settings.grid, volume.scanKind);
    std::string gridNote;
    if (settings.grid == GridChoice::Auto && kind == GridKind::None)
        gridNote = "scan kind unknown; choose one with --grid";
    if (settings.grid == GridChoice::None) gridNote = "not asked for";
    if (kind != GridKind::None && !input.spacing.lateralKnown()) {
        kind = GridKind::None;
        gridNote = "lateral spacing unknown; give it with --spacing-um";
    }
    if (kind != GridKind::None && !result.segmented()) {
        kind = GridKind::None;
        gridNote = "nothing segmented";
    }
    // Auto choosing none is routine; a grid named on the command line and not drawn deserves a word.
    if (kind == GridKind::None && (settings.grid == GridChoice::Etdrs || settings.grid == GridChoice::Circle))
        summary.gridSkipped = gridNote;
    // The grid is found while the other outputs are being written; the thickness picture, which shows it,
    // waits for it.
    GridResult grid;
    const auto evaluate = [&] {
        if (kind == GridKind::None) return;
        const GridCentre centre =
            kind == GridKind::Etdrs ? findMacularCentre(view, result, input.spacing) : findDiscCentre(result);
        grid = evaluateGrid(kind, centre, map, input.spacing, eye);
    };

    // The folder is made only now, so that a volume that fails to read or is interrupted leaves none; once
    // writing has begun, Ctrl-C waits until the volume's files are complete.
    const OutputWriting writing;
    OutputFolder out(outputDir);
    if (result.segmented()) {
        const int rows = result.numBScans, cols = result.numAScans;
        std::vector<OutputFile> files = {
            {"ilm.npy", [&](const std::string& p) { io::writeNpy(p, result.upperDepth.data(), rows, cols); }},
            {"rnfl.npy", [&](const std::string& p) { io::writeNpy(p, result.lowerDepth.data(), rows, cols); }},
            {"ilm_value.npy", [&](const std::string& p) { io::writeNpy(p, result.upperValue.data(), rows, cols); }},
            {"rnfl_weight.npy", [&](const std::string& p) { io::writeNpy(p, result.lowerWeight.data(), rows, cols); }},
            {"thickness.npy", [&](const std::string& p) { io::writeNpy(p, map.values.data(), rows, cols); }},
            {"thickness.png",
             [&](const std::string& p) { io::writePng(p, toPicture(renderThicknessMap(map, input.spacing, grid))); },
             true},
        };
        for (int bScan : overlayBScans(rows))
            files.push_back({overlayName(bScan), [&, bScan](const std::string& p) {
                                 io::writePng(p, toPicture(renderOverlay(view, result, bScan)));
                             }});
        out.writeAll(files, resolvedThreads(settings.engine.threads), evaluate);
    } else {
        evaluate();
    }

    std::vector<std::string> files = out.names();
    files.push_back("report.json");
    const std::string report =
        buildReport(input, options, result, map, summary.thickness, grid, gridNote, files).dump(2) + "\n";
    out.write("report.json", [&](const std::string& p) {
        io::writeFileAtomically(p, {io::ByteChunk{report.data(), report.size()}});
    });
    summary.files = out.names();
    removeStaleOutputs(outputDir, summary.files);

    if (!result.segmented()) throw CliError(failureText(result, axial.factor), label);
    return summary;
}

}  // namespace cli
}  // namespace velin

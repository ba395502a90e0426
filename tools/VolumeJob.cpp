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
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>

namespace velin {
namespace cli {
namespace {

namespace fs = std::filesystem;

class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

io::Picture toPicture(RgbImage&& image) {
    io::Picture picture(0, 0, 3);
    picture.width = image.width(), picture.height = image.height();
    picture.pixels = image.releasePixels();
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
};

// Collects the names of the files written, and turns a failed write into an error naming the file.
// A folder this volume created is removed again, with what was written into it, when the volume fails before
// its report is complete, so that no empty or half-filled folder is left behind; a reused folder is kept.
class OutputFolder {
public:
    explicit OutputFolder(std::string dir) : dir_(std::move(dir)) {
        std::error_code error;
        created_ = fs::create_directories(dir_, error);
        if (error) throw CliError("cannot create the output folder: " + error.message(), dir_);
    }
    ~OutputFolder() {
        if (!created_ || complete_) return;
        std::error_code error;
        for (const std::string& name : names_) fs::remove(fs::path(dir_) / name, error);
        fs::remove(dir_, error);  // only when empty
    }
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    template <typename Write>
    void write(const std::string& name, Write&& writeTo) {
        writeFile(name, writeTo);
        names_.push_back(name);
    }

    /// Writes several files on up to `threads` threads: compressing the pictures is most of the program's own
    /// work. The names are recorded in the order given; the first failure in that order is thrown once every
    /// writer has ended.
    void writeAll(const std::vector<OutputFile>& files, int threads) {
        std::vector<std::exception_ptr> failures(files.size());
        std::atomic<std::size_t> next{0};
        auto worker = [&] {
            for (std::size_t k = next++; k < files.size(); k = next++) {
                try {
                    writeFile(files[k].name, files[k].write);
                } catch (...) {
                    failures[k] = std::current_exception();
                }
            }
        };
        std::vector<std::thread> pool;
        for (int t = 1; t < std::min<int>(threads, static_cast<int>(files.size())); ++t) pool.emplace_back(worker);
        worker();
        for (std::thread& thread : pool) thread.join();
        // Every file written is recorded, also past a failure, so that a folder this volume created can be
        // cleared again.
        std::exception_ptr first;
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (!failures[i])
                names_.push_back(files[i].name);
            else if (!first)
                first = failures[i];
        }
        if (first) std::rethrow_exception(first);
    }

    /// Every output is written: the folder stays whatever happens next.
    void keep() { complete_ = true; }
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
    bool created_ = false;
    bool complete_ = false;
};

// A folder reused from an earlier run may hold outputs this run does not write again: overlays of other
// B-scans, or the planes of a run that segmented when this one could not. They would contradict report.json,
// so they go; files the program never writes are left alone.
void removeStaleOutputs(const std::string& dir, const std::vector<std::string>& written) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(dir, error)) {
        const std::string name = entry.path().filename().string();
        if (isOutputName(name) && std::find(written.begin(), written.end(), name) == written.end())
            fs::remove(entry.path(), error);
    }
}

}  // namespace

bool isOutputName(const std::string& name) {
    static const std::set<std::string> fixedNames = {"ilm.npy",         "rnfl.npy",           "ilm_value.npy",
                                                     "rnfl_weight.npy", "ilm_confidence.npy", "rnfl_confidence.npy",
                                                     "thickness.npy",   "thickness.png",      "report.json"};
    const bool overlay = name.size() == 15 && name.compare(0, 8, "overlay_") == 0 && name.compare(11, 4, ".png") == 0 &&
                         std::all_of(name.begin() + 8, name.begin() + 11, [](char c) { return c >= '0' && c <= '9'; });
    return overlay || fixedNames.count(name) > 0;
}

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

SpacingChoice chooseSpacing(const VolumeInput& volume, const SegmentSettings& settings) {
    if (settings.spacingGiven) return {settings.spacing, "command line", {}};
    const Spacing& spacing = volume.spacing;
    const bool any = spacing.depthUm > 0 || spacing.aScanUm > 0 || spacing.bScanUm > 0;
    return {spacing, any ? "file" : "unknown", volume.notes};
}

VolumeSummary segmentFile(const std::string& input, const std::string& outputDir, const SegmentSettings& settings,
                          const ProgressCallback& progress) {
    const Stopwatch reading;
    io::Volume volume;
    try {
        volume = io::readVolume(input, settings.read);
    } catch (const io::VolumeFileError& e) {
        throw CliError(e.what(), input);
    } catch (const std::bad_alloc&) {
        throw CliError("not enough memory to read the volume", input);
    }
    const double readSeconds = reading.seconds();
    VolumeSummary summary = segmentVolume(volume, input, outputDir, settings, progress);
    summary.times.read = readSeconds;
    return summary;
}

std::string failureText(const Result& result) {
    if (result.outcome == Outcome::TooFewBScans)
        return "the volume has " + std::to_string(result.numBScans) + " B-scan" + (result.numBScans == 1 ? "" : "s") +
               ", at least 10 are needed; report.json written";
    return "no B-scan could be segmented with axial factor " + std::to_string(result.axialFactor) +
           "; check the depth spacing (--spacing-um) or choose --axial-factor; report.json written";
}

MeasuredVolume measureVolume(const VolumeInput& volume, const SegmentSettings& settings,
                             const ProgressCallback& progress) {
    MeasuredVolume measured;
    const VolumeView& view = volume.view;
    const std::string eye = settings.eye.empty() ? volume.eye : settings.eye;
    ReportInput& input = measured.input;
    const SpacingChoice spacing = chooseSpacing(volume, settings);
    input = {volume.label,    view.numBScans,  view.numAScans, view.depth, eye,
             volume.scanKind, spacing.spacing, spacing.source, {},         spacing.notes};

    const AxialChoice axial = chooseAxialFactor(settings.axialFactor, input.spacing.depthUm, view.depth);
    input.axialFactorSource = axial.source;
    measured.options = settings.engine;
    measured.options.axialFactor = axial.factor;
    measured.options.depthSpacingUm = input.spacing.depthUm;
    measured.options.aScanSpacingUm = input.spacing.aScanUm;
    measured.options.bScanSpacingUm = input.spacing.bScanUm;
    measured.options.progress = progress;
    const Stopwatch segmenting;
    measured.result = segment(view, measured.options);
    measured.times.segment = segmenting.seconds();
    const Stopwatch measuring;
    // The callback may refer to the caller's state, which need not outlive this call.
    measured.options.progress = nullptr;
    const Result& result = measured.result;

    measured.map = computeThickness(result, input.spacing);
    measured.thickness = summariseThickness(result, measured.map);

    GridKind kind = chooseGrid(settings.grid, volume.scanKind);
    std::string& gridNote = measured.gridNote;
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
        measured.gridSkipped = gridNote;
    if (kind != GridKind::None) measured.grid = gridOf(kind, view, measured);
    measured.times.measure = measuring.seconds();
    return measured;
}

GridResult gridOf(GridKind kind, const VolumeView& view, const MeasuredVolume& measured) {
    const Spacing& spacing = measured.input.spacing;
    const GridCentre centre =
        kind == GridKind::Etdrs ? findMacularCentre(view, measured.result, spacing, resolvedThreads(measured.options.threads))
                                : findDiscCentre(measured.result);
    return evaluateGrid(kind, centre, measured.map, spacing, measured.input.eye);
}

std::vector<PlaneFile> planeFiles(const MeasuredVolume& measured) {
    const Result& result = measured.result;
    std::vector<PlaneFile> planes = {{"ilm.npy", nullptr, result.upperBoundary.data()},
                                     {"rnfl.npy", nullptr, result.lowerBoundary.data()}};
    if (result.boundaries == Boundaries::Refined) {
        planes.push_back({"ilm_confidence.npy", nullptr, result.upperConfidence.data()});
        planes.push_back({"rnfl_confidence.npy", nullptr, result.lowerConfidence.data()});
    }
    planes.push_back({"ilm_value.npy", result.upperValue.data(), nullptr});
    planes.push_back({"rnfl_weight.npy", result.lowerWeight.data(), nullptr});
    planes.push_back({"thickness.npy", nullptr, measured.map.values.data()});
    return planes;
}

std::vector<std::string> writeOutputs(const VolumeView& view, const MeasuredVolume& measured,
                                      const std::string& outputDir) {
    const Result& result = measured.result;
    const ThicknessMap& map = measured.map;
    // The folder is made only now, so that a volume that fails to read or is interrupted leaves none; once
    // writing has begun, Ctrl-C waits until the volume's files are complete.
    const OutputWriting writing;
    OutputFolder out(outputDir);
    if (result.segmented()) {
        const int rows = result.numBScans, cols = result.numAScans;
        std::vector<OutputFile> files;
        for (const PlaneFile& plane : planeFiles(measured))
            files.push_back({plane.name, [&, plane](const std::string& p) {
                                 if (plane.int16 != nullptr)
                                     io::writeNpy(p, plane.int16, rows, cols);
                                 else
                                     io::writeNpy(p, plane.float32, rows, cols);
                             }});
        files.push_back({"thickness.png", [&](const std::string& p) {
                             io::writePng(p, toPicture(renderThicknessMap(map, measured.input.spacing, measured.grid)));
                         }});
        for (int bScan : overlayBScans(rows))
            files.push_back({overlayName(bScan), [&, bScan](const std::string& p) {
                                 io::writePng(p, toPicture(renderOverlay(view, result, bScan)));
                             }});
        out.writeAll(files, resolvedThreads(measured.options.threads));
    }

    std::vector<std::string> files = out.names();
    files.push_back("report.json");
    const nlohmann::ordered_json json = buildReport(measured.input, measured.options, result, map, measured.thickness,
                                                    measured.grid, measured.gridNote, files);
    const std::string report = reportText(json);
    out.write("report.json", [&](const std::string& p) {
        io::writeFileAtomically(p, {io::ByteChunk{report.data(), report.size()}});
    });
    out.keep();
    removeStaleOutputs(outputDir, out.names());
    return out.names();
}

VolumeSummary segmentVolume(const io::Volume& volume, const std::string& label, const std::string& outputDir,
                            const SegmentSettings& settings, const ProgressCallback& progress) {
    const VolumeInput input{{volume.samples.data(), volume.numBScans, volume.numAScans, volume.depth},
                            label,
                            volume.eye,
                            volume.scanKind,
                            {volume.spacingDepthUm, volume.spacingAScanUm, volume.spacingBScanUm},
                            volume.notes};
    MeasuredVolume measured;
    try {
        measured = measureVolume(input, settings, progress);
    } catch (const std::invalid_argument& e) {
        throw CliError(e.what(), label);
    } catch (const std::bad_alloc&) {
        throw CliError("not enough memory to segment the volume", label);
    }
    VolumeSummary summary;
    summary.input = label;
    summary.outputDir = outputDir;
    const Stopwatch writing;
    summary.files = writeOutputs(input.view, measured, outputDir);
    summary.times = measured.times;
    summary.times.write = writing.seconds();
    summary.unit = measured.map.unit();
    summary.thickness = measured.thickness;
    summary.gridSkipped = measured.gridSkipped;
    summary.notes = measured.input.notes;
    summary.result = std::move(measured.result);
    if (!summary.result.segmented()) {
        // A spacing the file could not give may be why (the automatic axial factor follows it): say so too.
        std::string text = failureText(summary.result);
        for (const std::string& note : summary.notes) text += "; note: " + note;
        throw CliError(text, label);
    }
    return summary;
}

}  // namespace cli
}  // namespace velin

#include "PhantomFiles.h"

#include "CliError.h"
#include "Commands.h"

#include <Velin/Io/AtomicFile.h>
#include <Velin/Io/NpyFile.h>

#include <filesystem>
#include <new>
#include <utility>
#include <stdexcept>

namespace velin {
namespace cli {

io::Phantom buildPhantom(const PhantomSettings& settings) {
    io::PhantomOptions options;
    parseShape(settings.shape, options.numBScans, options.numAScans, options.depth);
    options.seed = settings.seed;
    options.noise = settings.noise;
    options.scanKind = settings.kind;
    options.eye = settings.eye;
    try {
        return io::makePhantom(options);
    } catch (const std::invalid_argument& e) {
        // Only the command line can make the builder refuse, so this is a usage error, told in the options'
        // words rather than the builder's.
        std::string what = e.what();
        for (const auto& [from, to] : {std::pair<std::string, std::string>{"makePhantom: ", ""},
                                       {"numBScans", "the B-scan count"},
                                       {"numAScans", "the A-scan count"},
                                       {"depth", "the depth"}})
            for (std::size_t at = what.find(from); at != std::string::npos; at = what.find(from, at + to.size()))
                what.replace(at, from.size(), to);
        throw CLI::ValidationError("--shape " + settings.shape + ": " + what);
    } catch (const std::bad_alloc&) {
        throw CliError("not enough memory for a phantom of " + settings.shape, "");
    }
}

PhantomPaths writePhantom(const std::string& volumePath, const io::Phantom& phantom) {
    namespace fs = std::filesystem;
    const fs::path path(volumePath);
    if (path.extension() != ".npy") throw CliError("the phantom is written as .npy; name the file *.npy", volumePath);
    const fs::path stem = path.parent_path() / path.stem();
    PhantomPaths paths{volumePath, stem.string() + "_truth_ilm.npy", stem.string() + "_truth_rnfl.npy"};

    const io::Volume& v = phantom.volume;
    std::string current = paths.volume;
    try {
        io::writeNpy(current, v);
        current = paths.truthTop;
        io::writeNpy(current, phantom.top.data(), v.numBScans, v.numAScans);
        current = paths.truthBottom;
        io::writeNpy(current, phantom.nflBottom.data(), v.numBScans, v.numAScans);
    } catch (const io::FileWriteError& e) {
        throw CliError(e.what(), current);
    }
    return paths;
}

}  // namespace cli
}  // namespace velin

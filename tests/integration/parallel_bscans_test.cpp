// B-scans on several threads give the serial loop's results bit for bit, on volumes whose transform is
// larger than the B-scan (where part of each B-scan's inverse transform carries into the next) and on
// volumes where it is not.

#include <Velin/Entry/SegmentationRun.h>
#include <Velin/VelinDetectorIpp.h>

#include "support/SyntheticVolume.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Orvan::Velin;

namespace {

struct Shape {
    const char* what;
    int numBScans, numAScans, depth;
};

// 256 x 512: the transform is the B-scan. 200 A-scans: the transform has 256 rows, 56 of them carried over.
// Depth 480: the transform has 512 columns, 32 carried over. Depth 992 with 200 A-scans: both (a 496-sample
// scan after the program's resampling).
constexpr Shape kShapes[] = {
    {"12x256x512, no padding", 12, 256, 512},
    {"12x200x512, padded across A-scans", 12, 200, 512},
    {"12x256x480, padded along depth", 12, 256, 480},
    {"12x200x992, padded both ways", 12, 200, 992},
};

bool sameBits(const std::vector<Matrix>& a, const std::vector<Matrix>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t k = 0; k < a.size(); ++k) {
        if (a[k].getRowCount() != b[k].getRowCount() || a[k].getColumnCount() != b[k].getColumnCount()) return false;
        for (std::uint32_t r = 0; r < a[k].getRowCount(); ++r)
            for (std::uint32_t c = 0; c < a[k].getColumnCount(); ++c) {
                const double x = a[k](r, c), y = b[k](r, c);
                if (std::memcmp(&x, &y, sizeof x) != 0) return false;
            }
    }
    return true;
}

std::vector<Matrix> copyOf(const MatrixList& list) {
    std::vector<Matrix> out;
    for (std::size_t k = 0; k < list.size(); ++k) out.push_back(list[k]);
    return out;
}

// The bits of the pixels of `image` outside the region x in [x0, x1), y in [y0, y1).
std::vector<std::uint32_t> bitsOutside(const ippImage32f& image, int x0, int x1, int y0, int y1) {
    std::vector<std::uint32_t> bits;
    for (int y = 0; y < image.getHeight(); ++y)
        for (int x = 0; x < image.getWidth(); ++x) {
            if (x >= x0 && x < x1 && y >= y0 && y < y1) continue;
            std::uint32_t b = 0;
            std::memcpy(&b, image.getRow(y) + x, sizeof b);
            bits.push_back(b);
        }
    return bits;
}

// What a run leaves behind: the four result lists after the consistency passes, the success count, and what
// of its images a further B-scan or volume on the same detector reads before writing: the transform image
// outside the B-scan's corner and the zero frame of the response image.
struct DetectorRun {
    std::vector<Matrix> lists[4];
    int successes = 0;
    std::vector<std::uint32_t> workOutsideBScan, responseFrame;
    std::vector<int> progress;
    bool progressOnCaller = true;
};

DetectorRun detect(const velin_test::SyntheticVolume& v, int threads, int volumes) {
    VelinDetectorIpp d;
    d.setParameters(v.samples.data(), v.numAScans, v.depth, v.numBScans, 100.0f, 5.0f, 0.0f, 0);
    d.threadCount = threads;
    DetectorRun out;
    struct Listener {
        DetectorRun* run;
        std::thread::id caller;
    } listener{&out, std::this_thread::get_id()};
    d.setProgressCallback(
        [](int done, int, void* user) {
            auto* l = static_cast<Listener*>(user);
            l->run->progress.push_back(done);
            l->run->progressOnCaller = l->run->progressOnCaller && std::this_thread::get_id() == l->caller;
        },
        &listener);
    // A second volume on the same detector starts from what the first left in the images.
    for (int i = 0; i < volumes; ++i) d.detectVolume();
    out.lists[0] = copyOf(d.getBoundaryList1());
    out.lists[1] = copyOf(d.getBoundaryList2());
    out.lists[2] = copyOf(d.getValueList1());
    out.lists[3] = copyOf(d.getValueList2());
    out.successes = d.successCount;
    out.workOutsideBScan = bitsOutside(d.fftWorkImage, 0, v.depth, 0, v.numAScans);
    out.responseFrame = bitsOutside(d.responseImage, 1, v.depth - 1, 1, v.numAScans - 1);
    return out;
}

}  // namespace

TEST(ParallelBScans, DetectorResultsAndLeftoverStateEqualTheSerialLoopForEveryThreadCount) {
    for (const Shape& shape : kShapes) {
        SCOPED_TRACE(shape.what);
        const velin_test::SyntheticVolume v =
            velin_test::makeLayeredVolume({shape.numBScans, shape.numAScans, shape.depth, 11});
        for (int volumes : {1, 2}) {
            const DetectorRun serial = detect(v, 1, volumes);
            ASSERT_GT(serial.successes, 3) << "the volume must segment for the comparison to mean anything";
            for (int threads : {2, 3}) {
                SCOPED_TRACE(std::to_string(threads) + " threads, " + std::to_string(volumes) + " volume(s)");
                const DetectorRun parallel = detect(v, threads, volumes);
                EXPECT_EQ(parallel.successes, serial.successes);
                for (int l = 0; l < 4; ++l)
                    EXPECT_TRUE(sameBits(serial.lists[l], parallel.lists[l])) << "result list " << l;
                EXPECT_EQ(parallel.workOutsideBScan, serial.workOutsideBScan);
                EXPECT_EQ(parallel.responseFrame, serial.responseFrame);
                EXPECT_EQ(parallel.progress, serial.progress);
                EXPECT_TRUE(parallel.progressOnCaller);
            }
        }
    }
}

TEST(ParallelBScans, PlanesOfTheWholeCallAreIdenticalForOneTwoAndThreeThreads) {
    for (const Shape& shape : kShapes) {
        SCOPED_TRACE(shape.what);
        const velin_test::SyntheticVolume v =
            velin_test::makeLayeredVolume({shape.numBScans, shape.numAScans, shape.depth, 5});
        const std::size_t size = static_cast<std::size_t>(v.numBScans) * v.numAScans;
        std::vector<std::vector<short>> reference;
        for (int threads : {1, 2, 3}) {
            std::vector<std::vector<short>> planes(4, std::vector<short>(size, 77));
            int segmented = 0;
            const RunOutcome outcome = runSegmentation(
                v.samples.data(), v.numBScans, v.numAScans, v.depth, planes[0].data(), planes[1].data(),
                planes[2].data(), planes[3].data(), 100.0f, 20.0f, 0.0f, 0, nullptr, nullptr, &segmented, threads);
            ASSERT_EQ(outcome, RunOutcome::Segmented);
            if (threads == 1)
                reference = planes;
            else
                EXPECT_EQ(planes, reference) << threads << " threads";
        }
    }
}

// A throwing progress callback (or B-scan) ends a parallel run as it ends the serial loop: the exception
// reaches the caller once every thread has stopped, instead of ending the process.
TEST(ParallelBScans, AnExceptionDuringTheRunReachesTheCaller) {
    const velin_test::SyntheticVolume v = velin_test::makeLayeredVolume({12, 200, 512, 2});
    for (int threads : {1, 2, 3}) {
        VelinDetectorIpp d;
        d.setParameters(v.samples.data(), v.numAScans, v.depth, v.numBScans, 100.0f, 5.0f, 0.0f, 0);
        d.threadCount = threads;
        d.setProgressCallback(
            [](int done, int, void*) {
                if (done == 3) throw std::runtime_error("stop at 3");
            },
            nullptr);
        try {
            d.detectVolume();
            ADD_FAILURE() << threads << " threads: no exception";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "stop at 3") << threads << " threads";
        }
    }
}

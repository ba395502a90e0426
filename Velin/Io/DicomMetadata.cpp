#include <Velin/Io/DicomMetadata.h>

#include <Velin/Io/ReaderSupport.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcitem.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <vector>

namespace velin {
namespace io {
namespace detail {

namespace {

constexpr double kUmPerMm = 1000.0;
// Plausible spacings: from 0.1 um up to 1 mm between samples of a B-scan, up to 10 mm between B-scans.
// Anything outside is a damaged or mislabelled file, and taking it would distort every thickness.
constexpr double kMinSpacingMm = 1e-4;
constexpr double kMaxSampleSpacingMm = 1.0;
constexpr double kMaxBScanSpacingMm = 10.0;

struct Attribute {
    const char* name;
    DcmTagKey tag;
};

const Attribute kPixelSpacing{"Pixel Spacing", DCM_PixelSpacing};
const Attribute kSpacingBetweenSlices{"Spacing Between Slices", DCM_SpacingBetweenSlices};
const Attribute kSliceThickness{"Slice Thickness", DCM_SliceThickness};
const Attribute kRescaleSlope{"Rescale Slope", DCM_RescaleSlope};
const Attribute kRescaleIntercept{"Rescale Intercept", DCM_RescaleIntercept};
const Attribute kWindowCenter{"Window Center", DCM_WindowCenter};
const Attribute kWindowWidth{"Window Width", DCM_WindowWidth};

// The attribute's values, split at the backslashes that separate them, without the padding around each.
std::vector<std::string> valuesOf(DcmItem& item, const DcmTagKey& tag) {
    OFString text;
    if (item.findAndGetOFStringArray(tag, text).bad() || text.empty()) return {};
    std::vector<std::string> values(1);
    for (char c : std::string(text.c_str(), text.length())) {
        if (c == '\\') {
            values.emplace_back();
        } else if (c != ' ' && c != '\0') {
            values.back().push_back(c);
        }
    }
    return values;
}

std::string joined(const std::vector<std::string>& values) {
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) text += (i ? "\\" : "") + values[i];
    return text;
}

// The places an attribute of the functional group `macro` may sit, in the order they are searched.
std::vector<DcmItem*> groupItems(DcmItem& dataset, const DcmTagKey& macro) {
    std::vector<DcmItem*> items;
    for (const DcmTagKey& groups : {DCM_SharedFunctionalGroupsSequence, DCM_PerFrameFunctionalGroupsSequence}) {
        DcmItem* frameGroups = nullptr;
        DcmItem* item = nullptr;
        if (dataset.findAndGetSequenceItem(groups, frameGroups, 0).good() &&
            frameGroups->findAndGetSequenceItem(macro, item, 0).good()) {
            items.push_back(item);
        }
    }
    items.push_back(&dataset);
    return items;
}

// The first place in `items` that gives the attribute; none when no place does.
DcmItem* firstGiving(const std::vector<DcmItem*>& items, const Attribute& attribute) {
    for (DcmItem* item : items)
        if (!valuesOf(*item, attribute.tag).empty()) return item;
    return nullptr;
}

// The attribute's decimal values as numbers: exactly `count` of them (0 = at least one), each finite.
std::vector<double> numbersOf(const std::string& path, DcmItem& item, const Attribute& attribute,
                              std::size_t count = 0) {
    const std::vector<std::string> values = valuesOf(item, attribute.tag);
    std::vector<double> numbers;
    for (const std::string& value : values) {
        // Decimal strings may carry a plus sign, which from_chars does not take.
        const char* begin = value.data() + (value.rfind('+', 0) == 0 ? 1 : 0);
        const char* end = value.data() + value.size();
        double number = 0.0;
        const auto [stop, error] = std::from_chars(begin, end, number);
        if (error != std::errc() || stop != end || begin == end || !std::isfinite(number)) {
            fail(path, std::string(attribute.name) + " '" + joined(values) + "': expected decimal numbers");
        }
        numbers.push_back(number);
    }
    if (count != 0 && numbers.size() != count) {
        fail(path, std::string(attribute.name) + " '" + joined(values) + "': expected " + std::to_string(count) +
                       " values, found " + std::to_string(numbers.size()));
    }
    return numbers;
}

// A number as people write it: no trailing zeros.
std::string decimal(double value) {
    std::string text = std::to_string(value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

// A spacing in mm checked against the plausible range, in um.
double spacingUm(const std::string& path, const std::string& what, double mm, double maxMm) {
    if (!(mm >= kMinSpacingMm && mm <= maxMm)) {
        fail(path,
             what + " is " + decimal(mm) + " mm: expected " + decimal(kMinSpacingMm) + " to " + decimal(maxMm) + " mm");
    }
    return mm * kUmPerMm;
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool containsWord(const std::string& text, const std::string& word) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const bool startsWord = at == 0 || !std::isalnum(static_cast<unsigned char>(text[at - 1]));
        const std::size_t after = at + word.size();
        const bool endsWord = after == text.size() || !std::isalnum(static_cast<unsigned char>(text[after]));
        if (startsWord && endsWord) return true;
    }
    return false;
}

// "macula" or "disc" when the text names exactly one of the two regions, else empty.
std::string kindNamedIn(const std::string& text) {
    const std::string t = lower(text);
    const bool macula = t.find("macula") != std::string::npos;
    const bool disc = t.find("optic disc") != std::string::npos || t.find("optic disk") != std::string::npos ||
                      t.find("optic nerve") != std::string::npos || containsWord(t, "onh");
    if (macula == disc) return "";
    return macula ? "macula" : "disc";
}

// The anatomic region's coded name first, then the descriptions people give the series, protocol and study.
std::string scanKind(DcmItem& dataset) {
    std::vector<std::string> texts;
    DcmItem* region = nullptr;
    for (unsigned long i = 0;
         dataset.findAndGetSequenceItem(DCM_AnatomicRegionSequence, region, static_cast<signed long>(i)).good(); ++i) {
        OFString meaning;
        if (region->findAndGetOFString(DCM_CodeMeaning, meaning).good()) texts.emplace_back(meaning.c_str());
    }
    for (const DcmTagKey& tag : {DCM_SeriesDescription, DCM_ProtocolName, DCM_StudyDescription}) {
        OFString text;
        if (dataset.findAndGetOFString(tag, text).good()) texts.emplace_back(text.c_str());
    }
    for (const std::string& text : texts) {
        const std::string kind = kindNamedIn(text);
        if (!kind.empty()) return kind;
    }
    return "";
}

// Image Laterality (this image) before Laterality (the series); R and L are the only answers that name an eye.
std::string eye(DcmItem& dataset) {
    for (const DcmTagKey& tag : {DCM_ImageLaterality, DCM_Laterality}) {
        const std::vector<std::string> values = valuesOf(dataset, tag);
        if (values.size() == 1 && values[0] == "R") return "OD";
        if (values.size() == 1 && values[0] == "L") return "OS";
    }
    return "";
}

}  // namespace

void readDicomMetadata(const std::string& path, DcmItem& dataset, Volume& volume) {
    const std::vector<DcmItem*> measures = groupItems(dataset, DCM_PixelMeasuresSequence);
    // Pixel Spacing gives the distance between rows (depth in a B-scan) first, then between columns (A-scans).
    if (DcmItem* item = firstGiving(measures, kPixelSpacing)) {
        const std::vector<double> mm = numbersOf(path, *item, kPixelSpacing, 2);
        volume.spacingDepthUm = spacingUm(path, "Pixel Spacing along depth (rows)", mm[0], kMaxSampleSpacingMm);
        volume.spacingAScanUm = spacingUm(path, "Pixel Spacing between A-scans (columns)", mm[1], kMaxSampleSpacingMm);
    }
    // The distance between B-scans: Spacing Between Slices where the file gives it; otherwise devices put it in
    // Slice Thickness, their B-scans touching one another.
    for (const Attribute* attribute : {&kSpacingBetweenSlices, &kSliceThickness}) {
        if (DcmItem* item = firstGiving(measures, *attribute)) {
            const double mm = numbersOf(path, *item, *attribute, 1)[0];
            volume.spacingBScanUm =
                spacingUm(path, std::string(attribute->name) + " (between B-scans)", mm, kMaxBScanSpacingMm);
            break;
        }
    }
    volume.eye = eye(dataset);
    volume.scanKind = scanKind(dataset);
}

DicomRescale readDicomRescale(const std::string& path, DcmItem& dataset) {
    DicomRescale rescale;
    const std::vector<DcmItem*> places = groupItems(dataset, DCM_PixelValueTransformationSequence);
    if (DcmItem* item = firstGiving(places, kRescaleSlope)) {
        rescale.slope = numbersOf(path, *item, kRescaleSlope, 1)[0];
        if (rescale.slope == 0.0) fail(path, "Rescale Slope is 0: expected a non-zero factor");
    }
    if (DcmItem* item = firstGiving(places, kRescaleIntercept)) {
        rescale.intercept = numbersOf(path, *item, kRescaleIntercept, 1)[0];
    }
    return rescale;
}

std::optional<DicomWindow> readDicomWindow(const std::string& path, DcmItem& dataset) {
    DcmItem* item = firstGiving(groupItems(dataset, DCM_FrameVOILUTSequence), kWindowCenter);
    if (!item) return std::nullopt;
    // A file may offer several windows (e.g. one per tissue); the first is the one it shows by default.
    DicomWindow window;
    window.centre = numbersOf(path, *item, kWindowCenter).front();
    const std::vector<double> widths = numbersOf(path, *item, kWindowWidth);
    if (widths.empty()) fail(path, "Window Center is given without a Window Width");
    window.width = widths.front();
    if (window.width < 1.0) fail(path, "Window Width is " + decimal(window.width) + ": expected at least 1");
    const std::vector<std::string> function = valuesOf(*item, DCM_VOILUTFunction);
    if (!function.empty() && function[0] != "LINEAR") {
        fail(path, "display window function '" + function[0] +
                       "' is not supported: expected LINEAR, or a scale rule to 8 bits (--scale)");
    }
    return window;
}

}  // namespace detail
}  // namespace io
}  // namespace velin

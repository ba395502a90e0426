#include <Velin/VelinDetectorIpp.h>

namespace Orvan {
namespace Velin {
namespace {

std::uint32_t pointCount(const CheckedList<Trace>& traces) {
    std::size_t total = 0;
    for (const Trace& trace : traces) total += trace.size();
    return static_cast<std::uint32_t>(total);
}

std::uint32_t valueCount(const CheckedList<ValueList>& values) {
    std::size_t total = 0;
    for (const ValueList& sequence : values) total += sequence.size();
    return static_cast<std::uint32_t>(total);
}

// Rows are (A-scan, depth, B-scan): the reverse of the point record's (depth, A-scan) order. Elements are
// written one by one rather than as row vectors, which would allocate once per point; every row index lies
// below the row count set just before.
void fillBoundaryRows(Matrix& rows, const CheckedList<Trace>& traces, int bscanIndex) {
    rows.resize(pointCount(traces), 3);
    std::uint32_t r = 0;
    for (std::size_t s = 0; s < traces.size(); ++s) {
        const Trace& trace = traces[s];
        for (std::size_t u = 0; u < trace.size(); ++u, ++r) {
            rows(r, 0) = trace[u].aScan;
            rows(r, 1) = trace[u].depth;
            rows(r, 2) = bscanIndex;
        }
    }
}

// The row count follows the value sequences but the walk follows the traces, so a sequence shorter than its
// trace is caught by the list's range check and surplus values leave zero rows behind. Since every value
// read is range-checked, there are at least as many rows as points walked.
void fillValueRows(Matrix& rows, const CheckedList<Trace>& traces, const CheckedList<ValueList>& values,
                   int bscanIndex) {
    rows.resize(valueCount(values), 4);
    std::uint32_t r = 0;
    for (std::size_t s = 0; s < traces.size(); ++s) {
        const Trace& trace = traces[s];
        for (std::size_t u = 0; u < trace.size(); ++u, ++r) {
            const double value = values[s][u];
            rows(r, 0) = trace[u].aScan;
            rows(r, 1) = trace[u].depth;
            rows(r, 2) = bscanIndex;
            rows(r, 3) = value;
        }
    }
}

}  // namespace

void VelinDetectorIpp::storeResults(int bscanIndex) {
    // The upper responses are deliberately not part of the emptiness test.
    if (upperTraces.empty() || lowerTraces.empty() || lowerWeights.empty()) {
        boundaryRows1.resize(0, 0);
        boundaryRows2.resize(0, 0);
        valueRows1.resize(0, 0);
        valueRows2.resize(0, 0);
    } else {
        fillBoundaryRows(boundaryRows1, upperTraces, bscanIndex);
        fillBoundaryRows(boundaryRows2, lowerTraces, bscanIndex);
        fillValueRows(valueRows1, upperTraces, upperResponses, bscanIndex);
        fillValueRows(valueRows2, lowerTraces, lowerWeights, bscanIndex);
    }
    boundaryList1.push_back(boundaryRows1);
    boundaryList2.push_back(boundaryRows2);
    valueList1.push_back(valueRows1);
    valueList2.push_back(valueRows2);
}

}  // namespace Velin
}  // namespace Orvan

#pragma once

#include <Velin/VelinExport.h>

/// The library's exported entry. One call segments one 8-bit OCT volume (numBScans B-scans of numAScans
/// A-scans of `depth` samples, sample (b, a, d) at b*numAScans*depth + a*depth + d) and writes four planes
/// of numBScans*numAScans 16-bit values, element b*numAScans + a:
///   plane1 depth of the upper boundary of the retina, or -1;
///   plane2 depth of the lower boundary of the nerve-fibre layer, or -1;
///   plane3 normalised response at the upper point x 100; plane4 weight of the lower point x 100.
/// The call returns without writing anything when numBScans < 10 or when no B-scan could be segmented.
/// It checks nothing else: pointers and sizes must be valid (see <Velin/Api/Segment.h> for a checked call).
class VELIN_API CVelinLayerSegment {
public:
    CVelinLayerSegment();
    ~CVelinLayerSegment();
    CVelinLayerSegment& operator=(const CVelinLayerSegment& other);

    void VelinLayerSegment(const unsigned char* volume, int numBScans, int numAScans, int depth, short* plane1,
                           short* plane2, short* plane3, short* plane4, float gapScale, float widthSelector,
                           float auxParameter, int optionFlag);
};

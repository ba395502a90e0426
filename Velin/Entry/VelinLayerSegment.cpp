#include <Velin/VelinLayerSegment.h>

#include <Velin/Entry/SegmentationRun.h>
#include <Velin/Image/IppPrimitives.h>

CVelinLayerSegment::CVelinLayerSegment() { Orvan::Ipp::ippStaticInit(); }

CVelinLayerSegment::~CVelinLayerSegment() {}

// The object holds nothing, so there is nothing to copy.
CVelinLayerSegment& CVelinLayerSegment::operator=(const CVelinLayerSegment&) { return *this; }

// B-scans run on every processor core (the class has no options): the planes are those of the serial loop,
// bit for bit, whatever the thread count or scheduling.
void CVelinLayerSegment::VelinLayerSegment(const unsigned char* volume, int numBScans, int numAScans, int depth,
                                           short* plane1, short* plane2, short* plane3, short* plane4, float gapScale,
                                           float widthSelector, float auxParameter, int optionFlag) {
    Orvan::Velin::runSegmentation(volume, numBScans, numAScans, depth, plane1, plane2, plane3, plane4, gapScale,
                                  widthSelector, auxParameter, optionFlag);
}

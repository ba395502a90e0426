#include <Velin/VelinDetectorIpp.h>

#include <Velin/Image/IppPrimitives.h>

namespace Orvan {
namespace Velin {

// Every member starts at its declared initial value: empty images, no FFT set up, empty lists.
VelinDetectorIpp::VelinDetectorIpp() {}

VelinDetectorIpp::~VelinDetectorIpp() {
    if (fftSpec != nullptr) Orvan::Ipp::ippiFFTFree_R_32f(fftSpec);
}

}  // namespace Velin
}  // namespace Orvan

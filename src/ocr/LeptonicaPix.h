#pragma once
#include <leptonica/allheaders.h>

#include <memory>

namespace velko {

// Leptonica images, boxes and number arrays owned like any other object.
struct LeptonicaDeleter {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
    void operator()(Box* box) const { boxDestroy(&box); }
    void operator()(Numa* numa) const { numaDestroy(&numa); }
};
using PixPtr = std::unique_ptr<Pix, LeptonicaDeleter>;
using BoxPtr = std::unique_ptr<Box, LeptonicaDeleter>;
using NumaPtr = std::unique_ptr<Numa, LeptonicaDeleter>;

}  // namespace velko

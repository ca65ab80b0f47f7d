#pragma once
#include <leptonica/allheaders.h>

#include <memory>

namespace velko {

// Leptonica images and boxes owned like any other object.
struct LeptonicaDeleter {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
    void operator()(Box* box) const { boxDestroy(&box); }
};
using PixPtr = std::unique_ptr<Pix, LeptonicaDeleter>;
using BoxPtr = std::unique_ptr<Box, LeptonicaDeleter>;

}  // namespace velko

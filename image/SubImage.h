// One sub-image: a detector region and its binning.
#ifndef KVMCF_IMAGE_SUBIMAGE_H
#define KVMCF_IMAGE_SUBIMAGE_H

#include <istream>
#include <ostream>

class TSubImage {
public:
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    int vBin = 0;  // detector rows per stored row
    int hBin = 0;  // detector columns per stored column

    TSubImage() = default;
    TSubImage(int l, int t, int r, int b, int v, int h) : left(l), top(t), right(r), bottom(b), vBin(v), hBin(h) {}

    bool operator==(const TSubImage& other) const {
        return left == other.left && top == other.top && right == other.right && bottom == other.bottom &&
               vBin == other.vBin && hBin == other.hBin;
    }
    bool operator!=(const TSubImage& other) const { return !(*this == other); }

    // Binning factors as divisors: a corrupt factor below 1 counts as 1 so no
    // computation on a bad file divides by zero.
    int VBinStep() const { return vBin > 0 ? vBin : 1; }
    int HBinStep() const { return hBin > 0 ? hBin : 1; }

    // Stored pixels of this sub-image: the inclusive area divided once by both
    // binning factors together. An inverted region holds none.
    unsigned int PixelCount() const;
};

std::istream& operator>>(std::istream& is, TSubImage& sub);
std::ostream& operator<<(std::ostream& os, const TSubImage& sub);

#endif

#include "image/PixelTransform.h"

#include <cfloat>
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "image/FrameView.h"
#include "image/KavriImage.h"
#include "util/kavrimath.h"

namespace PixelTransform {
namespace {

const float kTwoTo63 = 9223372036854775808.0f;
const unsigned long long kTopBit = 1ULL << 63;

// Truncation into signed 64 bits; out of range gives the processor's "indefinite".
unsigned long long TruncateSigned(float p) {
    if (!(p >= -kTwoTo63 && p < kTwoTo63)) return kTopBit;
    return static_cast<unsigned long long>(static_cast<std::int64_t>(p));
}

bool InLogDomain(float p) { return p > 0.0f && p < FLT_MAX; }

}  // namespace

unsigned long long ToBits(float p) {
    if (p >= kTwoTo63) return TruncateSigned(p - kTwoTo63) | kTopBit;
    return TruncateSigned(p);
}

float FromBits(unsigned long long bits) { return static_cast<float>(bits); }

float Log(float p) { return InLogDomain(p) ? std::log(p) : 0.0f; }
float Log10(float p) { return InLogDomain(p) ? std::log10(p) : 0.0f; }
float Sqrt(float p) { return InLogDomain(p) ? std::sqrt(p) : 0.0f; }
float Exp(float p) { return std::exp(p); }
float Pow10(float p) {
    const double value = std::pow(10.0, static_cast<double>(p));
    // Too large for a float rounds to infinity, as the processor does.
    if (value > FLT_MAX) return INFINITY;
    return static_cast<float>(value);
}

}  // namespace PixelTransform

// ---------------------------------------------------------------------------
// The image-level transforms declared with TKavriImage.

namespace {

// Frames 1..N, or the one given, each through a write view; `op` returns false to
// stop. False for a frame above N or a stop.
template <class Op>
bool ForFrames(TKavriImage& image, unsigned int frame, Op op) {
    const unsigned int count = image.GetNumberImages();
    if (frame > count) return false;
    const unsigned int first = frame == 0 ? 1 : frame;
    const unsigned int last = frame == 0 ? count : frame;
    for (unsigned int n = first; n <= last && n != 0; ++n) {
        TFrameView view(image, n, TFrameView::Write);
        if (!op(view)) return false;
    }
    return true;
}

template <class Op>
bool EachPixel(TKavriImage& image, unsigned int frame, Op op) {
    return ForFrames(image, frame, [&](TFrameView& view) {
        float* p = view.Data();
        for (unsigned long i = 0; i < view.Size(); ++i) p[i] = op(p[i]);
        return true;
    });
}

template <class Op>
bool EachBits(TKavriImage& image, unsigned int frame, Op op) {
    return EachPixel(image, frame, [&](float p) { return op(PixelTransform::ToBits(p)); });
}

// Combines this image's frames with the other's pixel at the same place in the
// series. The other may count its frames differently when only the totals agree.
template <class Op>
bool CombineSeries(TKavriImage& image, TKavriImage& other, bool geometry, Op op) {
    const unsigned long long length = image.GetDataLength();
    const unsigned long long otherLength = other.GetDataLength();
    const bool match = geometry ? image.Equal(other)
                                : length * image.GetNumberImages() == otherLength * other.GetNumberImages();
    if (!match) return false;
    if (length == 0 || otherLength == 0) return true;
    for (unsigned int n = 1; n <= image.GetNumberImages(); ++n) {
        TFrameView target(image, n, TFrameView::Write);
        unsigned long long at = (n - 1) * length;  // place in the series
        for (unsigned long i = 0; i < target.Size();) {
            const unsigned int from = static_cast<unsigned int>(at / otherLength + 1);
            TFrameView source(other, from, TFrameView::Read);
            // Pixels of this frame that fall in the other's frame `from`.
            unsigned long long offset = at % otherLength;
            const unsigned long long run = std::min<unsigned long long>(otherLength - offset, target.Size() - i);
            for (unsigned long long k = 0; k < run; ++k, ++i, ++offset)
                target.Data()[i] = op(target.Data()[i], source.Get(static_cast<long long>(offset)));
            at += run;
        }
    }
    return true;
}

template <class Op>
bool CombineFrames(TKavriImage& image, unsigned int frame, TKavriImage& other, unsigned int otherFrame,
                   bool geometry, Op op) {
    const bool match = geometry ? image.Equal(other) : image.GetDataLength() == other.GetDataLength();
    if (!match || frame == 0 || frame > image.GetNumberImages() || otherFrame == 0 ||
        otherFrame > other.GetNumberImages())
        return false;
    TFrameView target(image, frame, TFrameView::Write);
    TFrameView source(other, otherFrame, TFrameView::Read);
    for (unsigned long i = 0; i < target.Size(); ++i)
        target.Data()[i] = op(target.Data()[i], source.Get(static_cast<long long>(i)));
    return true;
}

float Plus(float a, float b) { return a + b; }
float Minus(float a, float b) { return a - b; }
float Times(float a, float b) { return a * b; }
float Over(float a, float b) { return a / b; }

using PointFunction = float (*)(float);

void ApplyPoint(TKavriImage& image, unsigned int sub, unsigned int frame, PointFunction f) {
    const unsigned int subs = image.GetNumberSubImages();
    if (frame > image.GetNumberImages() || sub > subs) return;
    if (sub == 0) {
        EachPixel(image, frame, f);
        return;
    }
    // The count comes from the entry after `sub`; past the last entry there is none.
    const unsigned long long count = sub < subs ? TKavriImage::StoredPixels(image.GetSubImages()[sub]) : 0;
    const unsigned int first = frame == 0 ? 1 : frame;
    const unsigned int last = frame == 0 ? image.GetNumberImages() : frame;
    for (unsigned int n = first; n <= last && n != 0; ++n) {
        TFrameView view(image, sub, n, TFrameView::Write);
        const unsigned long long end = std::min<unsigned long long>(count, view.Size());
        for (unsigned long long i = 0; i < end; ++i) view.Data()[i] = f(view.Data()[i]);
    }
}

void ApplyPointRow(TKavriImage& image, int row, unsigned int sub, unsigned int frame, PointFunction f) {
    if (frame == 0 || frame > image.GetNumberImages() || sub == 0 || sub > image.GetNumberSubImages()) return;
    const TSubImage& s = image.GetSubImages()[sub - 1];
    const long long width = TKavriImage::StoredColumns(s);
    if (row < 1 || row > TKavriImage::StoredRows(s) || width == 0) return;  // not a stored row of the sub-image
    TFrameView view(image, sub, frame, TFrameView::Write);
    const unsigned long long start = static_cast<unsigned long long>(row - 1) * static_cast<unsigned long long>(width);
    if (start >= view.Size()) return;
    const unsigned long long end = std::min<unsigned long long>(start + static_cast<unsigned long long>(width), view.Size());
    for (unsigned long long i = start; i < end; ++i) view.Data()[i] = f(view.Data()[i]);
}

}  // namespace

bool TKavriImage::Add(float value, unsigned int frame) {
    return EachPixel(*this, frame, [value](float p) { return p + value; });
}
bool TKavriImage::Subtract(float value, unsigned int frame) {
    return EachPixel(*this, frame, [value](float p) { return p - value; });
}
bool TKavriImage::Multiply(float value, unsigned int frame) {
    return EachPixel(*this, frame, [value](float p) { return p * value; });
}
bool TKavriImage::Divide(float value, unsigned int frame) {
    return EachPixel(*this, frame, [value](float p) { return p / value; });
}

bool TKavriImage::Inverse(float value, unsigned int frame) {
    return ForFrames(*this, frame, [value](TFrameView& view) {
        float* p = view.Data();
        for (unsigned long i = 0; i < view.Size(); ++i) {
            if (KavriUtility::TKavriMath::Equals(p[i], 0.0f)) return false;
            p[i] = value / p[i];
        }
        return true;
    });
}

bool TKavriImage::And(unsigned long mask, unsigned int frame) {
    return EachBits(*this, frame, [mask](unsigned long long b) { return PixelTransform::FromBits(b & mask); });
}
bool TKavriImage::Or(unsigned long mask, unsigned int frame) {
    return EachBits(*this, frame, [mask](unsigned long long b) { return PixelTransform::FromBits(b | mask); });
}
bool TKavriImage::Eor(unsigned long mask, unsigned int frame) {
    return EachBits(*this, frame, [mask](unsigned long long b) { return PixelTransform::FromBits(b ^ mask); });
}
bool TKavriImage::LogicAnd(unsigned long mask, unsigned int frame) {
    return EachBits(*this, frame, [mask](unsigned long long b) { return b != 0 && mask != 0 ? 1.0f : 0.0f; });
}
bool TKavriImage::LogicOr(unsigned long mask, unsigned int frame) {
    return EachBits(*this, frame, [mask](unsigned long long b) { return b != 0 || mask != 0 ? 1.0f : 0.0f; });
}

bool TKavriImage::Add(TKavriImage& other, bool geometry) { return CombineSeries(*this, other, geometry, Plus); }
bool TKavriImage::Subtract(TKavriImage& other, bool geometry) { return CombineSeries(*this, other, geometry, Minus); }
bool TKavriImage::Multiply(TKavriImage& other, bool geometry) { return CombineSeries(*this, other, geometry, Times); }
bool TKavriImage::Divide(TKavriImage& other, bool geometry) { return CombineSeries(*this, other, geometry, Over); }

bool TKavriImage::Add(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry) {
    return CombineFrames(*this, frame, other, otherFrame, geometry, Plus);
}
bool TKavriImage::Subtract(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry) {
    return CombineFrames(*this, frame, other, otherFrame, geometry, Minus);
}
bool TKavriImage::Multiply(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry) {
    return CombineFrames(*this, frame, other, otherFrame, geometry, Times);
}
bool TKavriImage::Divide(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry) {
    return CombineFrames(*this, frame, other, otherFrame, geometry, Over);
}

bool TKavriImage::MovingAverage(float window, int sumOnly) {
    const double rounded = static_cast<double>(window) + 0.5;
    // n = 0 or n >= N; the negated test also refuses NaN.
    if (!(rounded >= 1.0 && rounded < numberImages)) return false;
    const unsigned int n = static_cast<unsigned int>(rounded);
    // From the last frame down, so every sum reads frames not yet changed.
    for (unsigned int f = numberImages; f >= n && f >= 1; --f) {
        TFrameView target(*this, f, TFrameView::Write);
        for (unsigned int back = 1; back < n; ++back) {
            TFrameView earlier(*this, f - back, TFrameView::Read);
            const unsigned long count = std::min(target.Size(), earlier.Size());
            for (unsigned long i = 0; i < count; ++i) target.Data()[i] += earlier.Data()[i];
        }
        if (!sumOnly)
            for (unsigned long i = 0; i < target.Size(); ++i) target.Data()[i] /= window;
    }
    return true;
}

void TKavriImage::Log(unsigned int sub, unsigned int frame) { ApplyPoint(*this, sub, frame, PixelTransform::Log); }
void TKavriImage::Log10(unsigned int sub, unsigned int frame) { ApplyPoint(*this, sub, frame, PixelTransform::Log10); }
void TKavriImage::Sqrt(unsigned int sub, unsigned int frame) { ApplyPoint(*this, sub, frame, PixelTransform::Sqrt); }
void TKavriImage::Exp(unsigned int sub, unsigned int frame) { ApplyPoint(*this, sub, frame, PixelTransform::Exp); }
void TKavriImage::Pow10(unsigned int sub, unsigned int frame) { ApplyPoint(*this, sub, frame, PixelTransform::Pow10); }

void TKavriImage::Log(int row, unsigned int sub, unsigned int frame) {
    ApplyPointRow(*this, row, sub, frame, PixelTransform::Log);
}
void TKavriImage::Log10(int row, unsigned int sub, unsigned int frame) {
    ApplyPointRow(*this, row, sub, frame, PixelTransform::Log10);
}
void TKavriImage::Sqrt(int row, unsigned int sub, unsigned int frame) {
    ApplyPointRow(*this, row, sub, frame, PixelTransform::Sqrt);
}
void TKavriImage::Exp(int row, unsigned int sub, unsigned int frame) {
    ApplyPointRow(*this, row, sub, frame, PixelTransform::Exp);
}
void TKavriImage::Pow10(int row, unsigned int sub, unsigned int frame) {
    ApplyPointRow(*this, row, sub, frame, PixelTransform::Pow10);
}

void TKavriImage::Zero() { EachPixel(*this, 0, [](float) { return 0.0f; }); }

void TKavriImage::Zero(unsigned int frame) {
    if (frame == 0) return;
    EachPixel(*this, frame, [](float) { return 0.0f; });
}

#include "image/KavriImage.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>

#include "image/FrameView.h"
#include "util/kavrimath.h"
#include "util/kavrimisc.h"
#include "util/spoolhdl_stub.h"

namespace {

const char kUnknown[] = "Unknown";

const char* const kPortReadoutModes[] = {"All Ports", "Bottom Left", "Bottom Right", "Top Left", "Top Right"};

const char* const kReadoutDirections[] = {"Up (Simultaneous)",   "Down (Simultaneous)", "In (Simultaneous)",
                                          "Out (Simultaneous)",  "Up (Sequential)",     "Down (Sequential)"};

template <std::size_t N>
const char* TableText(const char* const (&table)[N], int value) {
    return value >= 0 && static_cast<std::size_t>(value) < N ? table[value] : kUnknown;
}

void CopyBounded(char* buffer, unsigned int size, const char* text) {
    if (!buffer || size == 0) return;
    buffer[size - 1] = '\0';
    KavriUtility::TKavriMisc::strncpy(buffer, text, size - 1);
}

// Visits, rows upward and columns rightward, the stored pixels of `sub` that lie on
// its binning grid inside the rectangle, as (value, x, y) in detector coordinates.
// The start is snapped back onto the grid. Rows and columns past the sub-image's
// own, and pixels past the view, are never visited, so the work is bounded by the
// pixels the frame holds whatever the geometry says.
// An index no view holds, far enough from overflow to be stepped along.
const long long kOutside = LLONG_MAX / 2;

template <class Visit>
void WalkRegion(TKavriRect rect, const TSubImage& sub, const TFrameView& view, Visit visit) {
    rect = rect.Normalized();
    const long long hBin = sub.HBinStep();
    const long long vBin = sub.VBinStep();
    const long long width = TKavriImage::StoredColumns(sub);
    const long long height = TKavriImage::StoredRows(sub);
    if (width == 0 || height == 0) return;
    // Truncating remainders: both starts land on the grid, possibly left of or below
    // the sub-image, from where whole steps bring them in.
    long long x0 = rect.left - (static_cast<long long>(rect.left) - sub.left) % hBin;
    long long y0 = rect.top - (static_cast<long long>(rect.top) - sub.bottom) % vBin;
    if (x0 < sub.left) x0 += (sub.left - x0 + hBin - 1) / hBin * hBin;
    if (y0 < sub.bottom) y0 += (sub.bottom - y0 + vBin - 1) / vBin * vBin;
    for (long long y = y0; y <= rect.bottom; y += vBin) {
        const unsigned long long row = static_cast<unsigned long long>((y - sub.bottom) / vBin);
        if (row >= static_cast<unsigned long long>(height)) break;
        const unsigned long long rowStart = row * static_cast<unsigned long long>(width);  // below 2^64
        if (rowStart >= view.Size()) break;
        for (long long x = x0; x <= rect.right; x += hBin) {
            const long long column = (x - sub.left) / hBin;
            if (column >= width) break;
            const unsigned long long index = rowStart + static_cast<unsigned long long>(column);
            if (index >= view.Size()) break;
            visit(view.Data()[index], x, y);
        }
    }
}

}  // namespace

TKavriImage::TKavriImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs,
                         unsigned int frameCount, bool spool, bool allocate, DataStore::ePixelDataType type) {
    detectorRect.left = detector.left;
    detectorRect.top = detector.top;
    detectorRect.right = detector.right;
    detectorRect.bottom = detector.bottom;
    numberSubImages = subs ? subImageCount : 0;
    numberImages = frameCount;
    spoolMode = spool;
    if (numberSubImages) subImages.assign(subs, subs + numberSubImages);
    subImageOffsets.assign(numberSubImages, 0);
    CreateTimeStamps();
    CreateMetaData();

    unsigned int total = 0;
    for (unsigned int k = 0; k < numberSubImages; ++k) {
        subImageOffsets[k] = total;
        total += subImages[k].PixelCount();
    }
    frameLength = total;
    totalLength = frameLength * numberImages;

    if (allocate) CreateDataArray(type, spoolMode ? 1 : numberImages, frameLength, true);
    // Sub-images are kept even without frames, so their count always matches the array.
}

TKavriImage::TKavriImage(const TKavriImage& other) : TKavriImageData() {
    detectorRect = other.detectorRect;
    numberSubImages = other.numberSubImages;
    subImages = other.subImages;
    subImageOffsets = other.subImageOffsets;
    frameLength = other.frameLength;
    totalLength = other.totalLength;
    metaDataFlag = other.metaDataFlag;
    dataStartOffset = other.dataStartOffset;

    if (other.spoolMode) {
        // A spooled source holds one frame of storage: copy its first frame only.
        numberImages = 1;
        spoolMode = true;
        frames.push_back(new Frame(DataStore::Float, frameLength, false));
        float* target = frames[0]->GetWriteBuffer();
        const float* source = const_cast<TKavriImage&>(other).ObtainReadImagePtr(1);
        if (source) {
            for (unsigned int i = 0; i < frameLength; ++i) target[i] = source[i];
            const_cast<TKavriImage&>(other).ReleaseImagePtr(1);
        }
    } else {
        numberImages = other.numberImages;
        for (const Frame* frame : other.frames) frames.push_back(new Frame(*frame));
    }
    timeStamps.assign(other.timeStamps.begin(), other.timeStamps.begin() + std::min<std::size_t>(numberImages, other.timeStamps.size()));
    metaData.assign(other.metaData.begin(), other.metaData.begin() + std::min<std::size_t>(numberImages, other.metaData.size()));
}

void TKavriImage::AllocateDataMemory(unsigned int pixels, unsigned int frameCount) {
    spoolMode = false;
    if (spoolHandler) spoolHandler->Resize(pixels, frameCount);
    const bool countChanged = frameCount != numberImages;
    frameLength = pixels;
    numberImages = frameCount;
    totalLength = frameLength * numberImages;
    CreateDataArray(DataStore::Float, numberImages, frameLength, false);
    if (countChanged) {
        CreateTimeStamps();
        CreateMetaData();
    }
}

void TKavriImage::Persist() {
    if (spoolMode && spoolHandler) spoolHandler->Persist();
}

int TKavriImage::GetReadoutPortString(char* buffer, unsigned int size) const {
    CopyBounded(buffer, size, TableText(kPortReadoutModes, portReadoutMode));
    return 0;
}

int TKavriImage::GetReadoutDirectionString(char* buffer, unsigned int size) const {
    CopyBounded(buffer, size, TableText(kReadoutDirections, readoutDirection));
    return 0;
}

// ---------------------------------------------------------------------------
// Value access

unsigned int TKavriImage::SubImageCount() const {
    return static_cast<unsigned int>(std::min<std::size_t>(numberSubImages, subImages.size()));
}

bool TKavriImage::HasFrames() const { return numberImages > 0 && (UseSpoolHandler() || !frames.empty()); }

float TKavriImage::GetValue(const TKavriPoint& point, unsigned int frame) {
    if (frame == 0 || frame > numberImages) return 0.0f;
    for (unsigned int k = 0; k < SubImageCount(); ++k) {
        const TSubImage& sub = subImages[k];
        if (point.y < sub.bottom) break;
        if (point.x >= sub.left && point.x <= sub.right && point.y <= sub.top) {
            TFrameView view(*this, k + 1, frame, TFrameView::Read);
            return view.Get(PointOffset(point, sub));
        }
    }
    return 0.0f;
}

void TKavriImage::GetValues(TKavriRect rect, float* out, unsigned int frame) {
    if (!out) return;
    for (long long y = rect.bottom; y <= rect.top; ++y)
        for (long long x = rect.left; x <= rect.right; ++x)
            *out++ = GetValue(TKavriPoint(static_cast<int>(x), static_cast<int>(y)), frame);
}

void TKavriImage::FastGetValues(TKavriRect rect, float* out, unsigned int sub, unsigned int frame) {
    if (!out || sub == 0 || sub > SubImageCount()) return;
    const TSubImage& s = subImages[sub - 1];
    const long long hBin = s.HBinStep();
    const long long width = StoredColumns(s);
    for (long long y = rect.top; y <= rect.bottom; y += s.VBinStep()) {
        TFrameView view(*this, sub, frame, TFrameView::Read);
        // A row below the sub-image or past the frame reads as zeros.
        const long long row = (y - s.bottom) / s.VBinStep();
        long long p = kOutside;
        if (row >= 0 && static_cast<unsigned long long>(row) * static_cast<unsigned long long>(width) <= view.Size())
            p = row * width + (rect.left - static_cast<long long>(s.left)) / hBin;
        for (long long x = rect.left; x <= rect.right; ++x) {
            *out++ = view.Get(p);
            if ((x - s.left) % hBin == 0) ++p;
        }
    }
}

void TKavriImage::SetValue(const TKavriPoint& point, float value, unsigned int frame) {
    if (frame > numberImages) return;
    for (unsigned int k = 0; k < SubImageCount(); ++k) {
        const TSubImage& sub = subImages[k];
        if (point.x < sub.left || point.x > sub.right || point.y < sub.bottom || point.y > sub.top) continue;
        TFrameView view(*this, k + 1, frame, TFrameView::Write);
        view.Set(PointOffset(point, sub), value);
    }
}

void TKavriImage::SetValues(TKavriRect rect, const float* values, unsigned int frame) {
    if (!values || frame == 0 || frame > numberImages) return;
    for (unsigned int k = 0; k < SubImageCount(); ++k) {
        const TSubImage& sub = subImages[k];
        if (sub.left != rect.left || sub.right != rect.right || rect.bottom < sub.bottom || rect.top > sub.top)
            continue;
        // The full width of a sub-image: its stored pixels, copied in one run.
        const long long rows = (static_cast<long long>(rect.top) - rect.bottom + 1) / sub.VBinStep();
        const unsigned long long count =
            static_cast<unsigned long long>(StoredColumns(sub)) * static_cast<unsigned long long>(std::max(rows, 0LL));
        TFrameView view(*this, k + 1, frame, TFrameView::Write);
        const long long start = PointOffset(TKavriPoint(rect.left, rect.bottom), sub);
        for (unsigned long long i = 0; i < count && view.Holds(start + static_cast<long long>(i)); ++i)
            view.Set(start + static_cast<long long>(i), values[i]);
        return;
    }
    for (long long y = rect.bottom; y <= rect.top; ++y)
        for (long long x = rect.left; x <= rect.right; ++x)
            SetValue(TKavriPoint(static_cast<int>(x), static_cast<int>(y)), *values++, frame);
}

void TKavriImage::SetImageData(const float* values, unsigned int count, unsigned int frame) {
    if (!values || !HasFrames() || count != frameLength || frame == 0 || frame > numberImages) return;
    TFrameView view(*this, frame, TFrameView::Write);
    std::copy(values, values + std::min<unsigned long>(count, view.Size()), view.Data());
}

void TKavriImage::Remap(const float* source) {
    if (!source) return;
    const unsigned int count = SubImageCount();
    for (unsigned int s = 0; s < count; ++s) {
        const TSubImage& sub = subImages[s];
        const long long width = StoredColumns(sub);
        if (width == 0) continue;
        // Rows of the earlier sub-images that lie in bands below this one. Unsigned:
        // a lying geometry wraps instead of overflowing, and reads stay in the source.
        unsigned long long start = 0;
        for (unsigned int t = 0; t < s; ++t) {
            const TSubImage& earlier = subImages[t];
            if (earlier.bottom >= sub.bottom) continue;
            const long long below =
                (static_cast<long long>(sub.bottom) - earlier.bottom + earlier.VBinStep() - 1) / earlier.VBinStep();
            start += static_cast<unsigned long long>(StoredColumns(earlier)) *
                     static_cast<unsigned long long>(std::min(below, StoredRows(earlier)));
        }
        // This sub-image's band: everything side by side with its bottom row.
        unsigned long long before = 0;
        unsigned long long band = 0;
        for (unsigned int u = 0; u < count; ++u) {
            const TSubImage& side = subImages[u];
            if (side.bottom > sub.bottom || sub.bottom > side.top) continue;
            band += StoredColumns(side);
            if (side.left < sub.left) before += StoredColumns(side);
        }
        TFrameView view(*this, s + 1, 1, TFrameView::Write);
        for (long long row = 0; row < StoredRows(sub) && view.Holds(row * width); ++row, start += band) {
            for (long long c = 0; c < width; ++c) {
                const unsigned long long from = start + before + static_cast<unsigned long long>(c);
                if (from >= frameLength) break;  // the source holds one frame
                view.Set(row * width + c, source[from]);
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Statistics

namespace {

// The first strictly better value that is finite on its side counts.
struct Lower {
    bool operator()(float v, float best) const { return v < best && v > -FLT_MAX; }
};
struct Higher {
    bool operator()(float v, float best) const { return v > best && v < FLT_MAX; }
};

template <class Better>
float SubImageExtreme(TKavriImage& image, TKavriRect rect, unsigned int sub, unsigned int frame,
                      TKavriPoint* position, float running, Better better) {
    // The caller has checked `sub` against the sub-images held; the view checks 0.
    TFrameView view(image, sub, frame, TFrameView::Read);
    if (!view) return running;
    WalkRegion(rect, image.GetSubImages()[sub - 1], view, [&](float v, long long x, long long y) {
        if (!better(v, running)) return;
        running = v;
        if (position) *position = TKavriPoint(static_cast<int>(x), static_cast<int>(y));
    });
    return running;
}

}  // namespace

float TKavriImage::GetSubImageMinimum(TKavriRect rect, unsigned int sub, unsigned int frame, TKavriPoint* position) {
    if (sub > SubImageCount()) return FLT_MAX;
    return SubImageExtreme(*this, rect, sub, frame, position, FLT_MAX, Lower());
}

float TKavriImage::GetSubImageMaximum(TKavriRect rect, unsigned int sub, unsigned int frame, TKavriPoint* position) {
    if (sub > SubImageCount()) return -FLT_MAX;
    return SubImageExtreme(*this, rect, sub, frame, position, -FLT_MAX, Higher());
}

void TKavriImage::GetSubimageValues(TKavriRect rect, unsigned int sub, unsigned int frame, std::vector<float>& values) {
    values.clear();
    if (sub == 0 || sub > SubImageCount()) return;
    TFrameView view(*this, sub, frame, TFrameView::Read);
    if (!view) return;
    WalkRegion(rect, subImages[sub - 1], view, [&](float v, long long, long long) { values.push_back(v); });
}

namespace {

using SubImageSearch = float (TKavriImage::*)(TKavriRect, unsigned int, unsigned int, TKavriPoint*);

// Searches the part of each sub-image the rectangle meets, in one frame or in all,
// keeping the better extreme; every search that finds something moves `where`.
float SearchSubImages(TKavriImage& image, const TKavriRect& rect, unsigned int frame, TKavriPoint& where,
                      float running, SubImageSearch search, bool minimum, unsigned int subImageCount) {
    const TKavriRect wanted = rect.Normalized();
    const unsigned int first = frame == 0 ? 1 : frame;
    const unsigned int last = frame == 0 ? image.GetNumberImages() : frame;
    for (unsigned int n = first; n <= last && n != 0; ++n) {
        for (unsigned int k = 1; k <= subImageCount; ++k) {
            const TSubImage& sub = image.GetSubImages()[k - 1];
            const TKavriRect area = TKavriRect(sub.left, sub.top, sub.right, sub.bottom).Normalized();
            const TKavriRect cut(Max(area.left, wanted.left), Max(area.top, wanted.top), Min(area.right, wanted.right),
                                 Min(area.bottom, wanted.bottom));
            if (cut.left > cut.right || cut.top > cut.bottom || cut.IsNull()) continue;
            const float found = (image.*search)(cut, k, n, &where);
            running = minimum ? std::min(running, found) : std::max(running, found);
        }
    }
    return running;
}

}  // namespace

float TKavriImage::GetMinimum(const TKavriRect& rect, unsigned int frame, TKavriPoint& position) {
    if (!HasFrames()) return 1.0f;
    if (frame > numberImages) return 0.0f;
    TKavriPoint where(1, 1);
    float running = SearchSubImages(*this, rect, frame, where, FLT_MAX, &TKavriImage::GetSubImageMinimum, true,
                                    SubImageCount());
    if (KavriUtility::TKavriMath::Equals(running, FLT_MAX)) running = 0.0f;
    position = where;
    return running;
}

float TKavriImage::GetMaximum(const TKavriRect& rect, unsigned int frame, TKavriPoint& position) {
    if (!HasFrames()) return 1.0f;
    if (frame > numberImages) return 1.0f;
    TKavriPoint where(1, 1);
    float running = SearchSubImages(*this, rect, frame, where, -FLT_MAX, &TKavriImage::GetSubImageMaximum, false,
                                    SubImageCount());
    if (KavriUtility::TKavriMath::Equals(running, -FLT_MAX)) running = 1.0f;
    position = where;
    return running;
}

float TKavriImage::ModeOf(std::vector<float>& values) {
    if (values.empty()) return 1.0f;
    // NaN compares with nothing, so it cannot be sorted: set apart as one value
    // above all others.
    const auto nan = std::partition(values.begin(), values.end(), [](float v) { return !std::isnan(v); });
    std::sort(values.begin(), nan);
    float best = NAN;
    std::size_t bestCount = 0;
    for (auto i = values.begin(); i != nan;) {
        const auto j = std::upper_bound(i, nan, *i);
        // Strictly more: among equal counts the smaller value, met first, stays.
        if (static_cast<std::size_t>(j - i) > bestCount) {
            best = *i;
            bestCount = static_cast<std::size_t>(j - i);
        }
        i = j;
    }
    return static_cast<std::size_t>(values.end() - nan) > bestCount ? NAN : best;
}

float TKavriImage::GetModeValue(unsigned int frame) {
    if (!HasFrames() || frame == 0 || frame > numberImages) return 1.0f;
    std::vector<float> values;
    {
        TFrameView view(*this, frame, TFrameView::Read);
        if (!view) return 1.0f;
        values.assign(view.Data(), view.Data() + view.Size());
    }
    return ModeOf(values);
}

// ---------------------------------------------------------------------------
// Comparisons

bool TKavriImage::IsSubset(const TKavriImage& other) const {
    const LONG_RECT& o = other.detectorRect;
    return !(o.left < detectorRect.left || o.top > detectorRect.top || o.right > detectorRect.right ||
             o.bottom < detectorRect.bottom);
}

bool TKavriImage::Equal(const TKavriImage& other) const {
    return detectorRect == other.detectorRect && numberSubImages == other.numberSubImages &&
           subImages == other.subImages && subImageOffsets == other.subImageOffsets &&
           frameLength == other.frameLength && numberImages == other.numberImages;
}

long long TKavriImage::StoredColumns(const TSubImage& sub) {
    const long long columns = (static_cast<long long>(sub.right) - sub.left + 1) / sub.HBinStep();
    return columns > 0 ? columns : 0;
}

long long TKavriImage::StoredRows(const TSubImage& sub) {
    const long long rows = (static_cast<long long>(sub.top) - sub.bottom + 1) / sub.VBinStep();
    return rows > 0 ? rows : 0;
}

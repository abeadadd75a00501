// Image data record with the image-level operations.
#ifndef KVMCF_IMAGE_KAVRIIMAGE_H
#define KVMCF_IMAGE_KAVRIIMAGE_H

#include <vector>

#include "image/KavriImageData.h"

class TKavriImage : public TKavriImageData {
public:
    TKavriImage() = default;
    // Builds a record from scratch: offsets and frame length follow from the
    // sub-images; with `allocate` the frames are created zeroed (one in spool mode).
    TKavriImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs, unsigned int frameCount,
                bool spool, bool allocate, DataStore::ePixelDataType type);
    TKavriImage(const TKavriImage& other);
    TKavriImage& operator=(const TKavriImage&) = delete;

    unsigned int GetDataLength() const { return frameLength; }
    int GetMetaData() const { return metaDataFlag; }
    long long GetDataStartOffset() const override { return dataStartOffset; }

    // Float frames of `pixels` each, not zeroed; leaves spool mode.
    void AllocateDataMemory(unsigned int pixels, unsigned int frameCount);
    void Persist();

    // Texts for the readout settings; values outside the tables give "Unknown".
    int GetReadoutPortString(char* buffer, unsigned int size) const;
    int GetReadoutDirectionString(char* buffer, unsigned int size) const;

    static unsigned int PointOffset(TKavriPoint point, const TSubImage& sub) { return DataStore::PointOffset(point, sub); }
    // Stored columns and rows of a sub-image, each axis divided by its own binning
    // (0 for an inverted one), and their product.
    static long long StoredColumns(const TSubImage& sub);
    static long long StoredRows(const TSubImage& sub);
    static unsigned long long StoredPixels(const TSubImage& sub) {
        return static_cast<unsigned long long>(StoredColumns(sub)) * static_cast<unsigned long long>(StoredRows(sub));
    }

    // ---- Value access. Detector coordinates, frames 1..N. Points outside every
    // sub-image, and pixels past the end of a frame, read as 0 and are not written.

    // Sub-images are searched in ascending row order: a point below the current one
    // ends the search.
    float GetValue(const TKavriPoint& point, unsigned int frame);
    float GetValue(int x, int y, unsigned int frame) { return GetValue(TKavriPoint(x, y), frame); }
    // One value per detector pixel of (left, top, right, bottom), top >= bottom,
    // rows upward; `out` holds (right - left + 1) x (top - bottom + 1) values.
    void GetValues(TKavriRect rect, float* out, unsigned int frame);
    // Straight from sub-image `sub`: rows from the second field up to the fourth in
    // steps of the vertical binning, every column from the first to the third. A
    // binned pixel repeats across its columns, the pointer moving on right after the
    // first one. The rectangle is not checked against the sub-image.
    void FastGetValues(TKavriRect rect, float* out, unsigned int sub, unsigned int frame);
    // Written into every sub-image holding the point.
    void SetValue(const TKavriPoint& point, float value, unsigned int frame);
    // A rectangle spanning a sub-image's full width takes its stored (binned) pixels,
    // rows upward; any other takes one value per detector pixel.
    void SetValues(TKavriRect rect, const float* values, unsigned int frame);
    // Only a whole frame: `count` must be the frame length.
    void SetImageData(const float* values, unsigned int count, unsigned int frame);
    // Stores one frame given in detector order (for each band of rows, the rows of
    // the side-by-side sub-images left to right) into frame 1 in stored order.
    // `source` holds the frame length in values.
    void Remap(const float* source);

    // ---- Statistics.

    // Extreme over the rectangle in one frame, or in all when frame is 0. Without
    // frames both give 1; a frame above N, or nothing found, gives 0 for the minimum
    // and 1 for the maximum. `position` ends with the extreme of the last sub-image
    // region searched, so an exact position needs one sub-image and one frame.
    float GetMinimum(const TKavriRect& rect, unsigned int frame, TKavriPoint& position);
    float GetMaximum(const TKavriRect& rect, unsigned int frame, TKavriPoint& position);
    // Extreme over the stored pixels of sub-image `sub` whose binning grid positions
    // fall in the rectangle (normalised first); infinities never count. Nothing found
    // gives the largest finite float (its negative for the maximum) and leaves
    // `position` alone. Never reads outside the sub-image or the frame.
    float GetSubImageMinimum(TKavriRect rect, unsigned int sub, unsigned int frame, TKavriPoint* position);
    float GetSubImageMaximum(TKavriRect rect, unsigned int sub, unsigned int frame, TKavriPoint* position);
    // The stored pixels GetSubImageMinimum would visit, in its order.
    void GetSubimageValues(TKavriRect rect, unsigned int sub, unsigned int frame, std::vector<float>& values);
    // Most frequent value of a frame; 1 without frames or for a frame outside 1..N.
    float GetModeValue(unsigned int frame);
    // Most frequent of `values` (reordered); ties go to the smallest, NaN counts as
    // one value above all others. 1 for no values.
    static float ModeOf(std::vector<float>& values);

    // ---- Comparisons with another image.

    // False when the other's detector area reaches outside this one's.
    bool IsSubset(const TKavriImage& other) const;
    bool IsUnique(const TKavriImage& other) const { return IsSubset(other); }
    void Insert(TKavriImage&) {}
    void Grow(TKavriImage&) {}
    // Same detector area, sub-images, offsets, frame length and frame count.
    bool Equal(const TKavriImage& other) const;

    // ---- Pixel transforms, in place. `frame` is 1..N, or 0 for every frame; a frame
    // above N changes nothing and gives false.

    bool Add(float value, unsigned int frame);
    bool Subtract(float value, unsigned int frame);
    bool Multiply(float value, unsigned int frame);
    // No test of the divisor: dividing by 0 gives infinities and NaN.
    bool Divide(float value, unsigned int frame);
    // value / p. Stops with false at the first pixel approximately 0: what came
    // before it stays changed.
    bool Inverse(float value, unsigned int frame);
    // Masks on each pixel taken as an unsigned 64-bit integer (PixelTransform::ToBits).
    bool And(unsigned long mask, unsigned int frame);
    bool Or(unsigned long mask, unsigned int frame);
    bool Eor(unsigned long mask, unsigned int frame);
    // 1 or 0.
    bool LogicAnd(unsigned long mask, unsigned int frame);
    bool LogicOr(unsigned long mask, unsigned int frame);

    // Pixel by pixel with the other image at the same place in the series, for every
    // frame. With `geometry` the images must be Equal, otherwise only their total
    // lengths must agree. Division has no zero test. False when they don't match.
    bool Add(TKavriImage& other, bool geometry);
    bool Subtract(TKavriImage& other, bool geometry);
    bool Multiply(TKavriImage& other, bool geometry);
    bool Divide(TKavriImage& other, bool geometry);
    // The same for one frame of each (1..N); without `geometry` their frame lengths
    // must agree.
    bool Add(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry);
    bool Subtract(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry);
    bool Multiply(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry);
    bool Divide(unsigned int frame, TKavriImage& other, unsigned int otherFrame, bool geometry);

    // Each frame from the n-th on becomes the sum of itself and the n - 1 frames
    // before it, n = window rounded to nearest; divided by `window` itself unless
    // `sumOnly`. False, changing nothing, when n is 0 or not below the frame count.
    bool MovingAverage(float window, int sumOnly);

    // Point functions on sub-image `sub` (0: the whole frame) of one or every frame.
    // Nothing happens for sub above S or a frame above N. For a sub-image the count
    // of pixels comes from the entry after it in the list (none for the last).
    void Log(unsigned int sub, unsigned int frame);
    void Log10(unsigned int sub, unsigned int frame);
    void Sqrt(unsigned int sub, unsigned int frame);
    void Exp(unsigned int sub, unsigned int frame);
    void Pow10(unsigned int sub, unsigned int frame);
    // The same on stored row `row` (1 = bottom) of sub-image `sub` (1..S) of frame
    // `frame` (1..N).
    void Log(int row, unsigned int sub, unsigned int frame);
    void Log10(int row, unsigned int sub, unsigned int frame);
    void Sqrt(int row, unsigned int sub, unsigned int frame);
    void Exp(int row, unsigned int sub, unsigned int frame);
    void Pow10(int row, unsigned int sub, unsigned int frame);

    // Every pixel of every frame, or of frame 1..N (0 changes nothing), to 0.
    void Zero();
    void Zero(unsigned int frame);

private:
    // Sub-images both counted and held.
    unsigned int SubImageCount() const;
    // Frames stored, or served by a spool handler.
    bool HasFrames() const;
};

#endif

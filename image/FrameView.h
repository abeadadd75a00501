// Bounded access to the pixels of one frame, or of one sub-image inside it, through
// an image's 1-based frame pointers. Sub-image offsets and frame lengths come from
// the file unchecked, so an offset plus a sub-image's pixel count can run past the
// frame: a view knows how many pixels it may touch and nobody indexes past that.
#ifndef KVMCF_IMAGE_FRAMEVIEW_H
#define KVMCF_IMAGE_FRAMEVIEW_H

class TKavriImage;

class TFrameView {
public:
    enum Access { Read, Write };

    // The whole of frame `frame`.
    TFrameView(TKavriImage& image, unsigned int frame, Access access);
    // Sub-image `sub` of frame `frame`, from its offset to the end of the frame.
    TFrameView(TKavriImage& image, unsigned int sub, unsigned int frame, Access access);
    // Releases the frame pointer, as every image operation does after use.
    ~TFrameView();
    TFrameView(const TFrameView&) = delete;
    TFrameView& operator=(const TFrameView&) = delete;

    explicit operator bool() const { return data_ != nullptr; }
    float* Data() const { return data_; }
    unsigned long Size() const { return size_; }

    // Outside the view reads 0 and writes nothing.
    float Get(long long index) const { return Holds(index) ? data_[index] : 0.0f; }
    void Set(long long index, float value) {
        if (Holds(index)) data_[index] = value;
    }
    bool Holds(long long index) const { return index >= 0 && static_cast<unsigned long long>(index) < size_; }

    // Pixels frame `frame` really holds: the frame length, or less when a stored
    // frame was made shorter.
    static unsigned long FramePixels(const TKavriImage& image, unsigned int frame);

private:
    void Obtain(unsigned int frame, Access access);

    TKavriImage& image_;
    unsigned int frame_ = 0;
    float* data_ = nullptr;
    unsigned long size_ = 0;
};

#endif

#include "image/FrameView.h"

#include "image/KavriImage.h"

TFrameView::TFrameView(TKavriImage& image, unsigned int frame, Access access) : image_(image) {
    Obtain(frame, access);
    if (data_) size_ = FramePixels(image_, frame);
}

TFrameView::TFrameView(TKavriImage& image, unsigned int sub, unsigned int frame, Access access) : image_(image) {
    if (sub == 0 || sub > image.GetNumberSubImages()) return;
    const unsigned long offset = image.GetSubImageOffset(sub - 1);
    const unsigned long pixels = FramePixels(image, frame);
    if (offset >= pixels) return;  // the sub-image starts outside the frame
    Obtain(frame, access);
    if (!data_) return;
    data_ += offset;
    size_ = pixels - offset;
}

TFrameView::~TFrameView() {
    if (frame_) image_.ReleaseImagePtr(frame_);
}

void TFrameView::Obtain(unsigned int frame, Access access) {
    data_ = access == Read ? image_.ObtainReadImagePtr(frame) : image_.ObtainWriteImagePtr(frame);
    if (data_) frame_ = frame;
}

unsigned long TFrameView::FramePixels(const TKavriImage& image, unsigned int frame) {
    unsigned long pixels = image.GetDataLength();
    // A spool handler's frames are trusted to hold the frame length.
    if (image.GetSpoolMode() && image.GetSpoolHandler()) return pixels;
    const Frame* stored = image.GetFrame(frame);
    const DataStore* store = stored ? stored->GetDataStore() : nullptr;
    if (!store) return 0;
    return store->GetCount() < pixels ? store->GetCount() : pixels;
}

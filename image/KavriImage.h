// Image data record with the image-level operations.
#ifndef KVMCF_IMAGE_KAVRIIMAGE_H
#define KVMCF_IMAGE_KAVRIIMAGE_H

#include "image/KavriImageData.h"

class TKavriImage : public TKavriImageData {
public:
    TKavriImage() = default;
};

#endif

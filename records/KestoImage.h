// Header object: the instrument header record with the calibrated image it describes.
#ifndef KVMCF_RECORDS_KESTOIMAGE_H
#define KVMCF_RECORDS_KESTOIMAGE_H

#include "calib/CalibImage.h"
#include "records/KestoImageData.h"

class TKestoImage : public TKestoImageData, public TCalibImage {
public:
    TKestoImage() = default;
};

#endif

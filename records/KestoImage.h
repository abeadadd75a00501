// Header object: the instrument header record together with the calibrated image it
// describes, the per-frame metadata packets and the time code blocks. Frames and
// sub-images are numbered from 1.
#ifndef KVMCF_RECORDS_KESTOIMAGE_H
#define KVMCF_RECORDS_KESTOIMAGE_H

#include <istream>
#include <ostream>

#include "calib/CalibImage.h"
#include "metadata/IRIGDataHandler.h"
#include "metadata/MetaDataHandler.h"
#include "metadata/metadata.h"
#include "records/KestoImageData.h"

class TMcfDataXML;

class TKestoImage : public TKestoImageData, public TCalibImage {
public:
    // An empty image with the plain header defaults.
    TKestoImage() = default;
    // An image of the given geometry; the header's mode, detector format and read
    // pattern follow from it.
    TKestoImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs, unsigned int frameCount,
                bool spool = false, bool allocate = true, DataStore::ePixelDataType type = DataStore::Float);
    TKestoImage(const TKestoImage& other);
    TKestoImage& operator=(const TKestoImage&) = delete;

    // Header defaults, with the mode, detector format and read pattern derived from
    // the image geometry.
    void SetDefaults();
    // The header of source, except the record version, file name, user text, shutter,
    // crop record and dark threshold; calibration and pixels are left alone.
    void CopyMostofHeader(const TKestoImage& source);

    unsigned int GetSeriesLength() const { return GetNumberImages(); }
    // Seconds after frame 1; -1 when the header cannot tell.
    float GetKineticTime(int frame) const;
    // The frame's metadata word; 0 outside the series.
    unsigned long long GetMetaDataTicks(int frame) const;
    // Stamps in milliseconds from the kinetic cycle time; all bits set when the image
    // has no time stamps.
    unsigned int CalculateTimeStamps();
    // Stored sub-image `index` in sensor coordinates, before rotation and flips; a
    // zero sub-image for an index the image lacks.
    TSubImage GetCCDSubimageFormat(unsigned int index) const;
    // Value of a tag of the frame's metadata packet; 0 when the packet lacks it.
    unsigned long long GetMetaDataTagValue(int frame, int tag);

    // New images the caller owns, or null when this image's pixels are not in memory
    // or its geometry cannot give one.
    // Every frame stacked above the one before, in a single frame.
    TKestoImage* MergeSpectraToImage();
    // A centred band of `width` columns of every sub-image (1 <= width <= image width).
    TKestoImage* Trim(int width);

    // Header, metadata and time code texts, then calibrated image. Returns whether
    // the metadata and time code element was there.
    bool ReadXMLDataStructure(TMcfDataXML& xml);
    bool BuildXMLDataStructure(TMcfDataXML& xml);

    TMetaDataHandler& GetMetaDataHandler() { return metaDataHandler; }
    const TMetaDataHandler& GetMetaDataHandler() const { return metaDataHandler; }
    MetaData& GetMetaDataPacket() { return metaDataPacket; }
    TIRIGDataHandler& GetIRIGDataHandler() { return irigDataHandler; }
    const TIRIGDataHandler& GetIRIGDataHandler() const { return irigDataHandler; }

    // Header record, then calibration and image data records; the handlers then
    // learn the series length.
    friend std::istream& operator>>(std::istream& is, TKestoImage& image);
    friend std::ostream& operator<<(std::ostream& os, TKestoImage& image);

private:
    // The stored sub-image index (1-based), or a zero one.
    TSubImage StoredSubImage(unsigned int index) const;
    // Whether frame 1..N are all held in memory.
    bool HoldsAllFrames() const;

    TMetaDataHandler metaDataHandler;
    MetaData metaDataPacket;
    TIRIGDataHandler irigDataHandler;
};

#endif

// Image data record. (Shell: the reader arrives with the image data record.)
#ifndef KVMCF_IMAGE_KAVRIIMAGEDATA_H
#define KVMCF_IMAGE_KAVRIIMAGEDATA_H

#include <istream>
#include <ostream>

class TKavriImageData {
public:
    TKavriImageData() = default;
    virtual ~TKavriImageData() = default;
    void SetHeaderOnly(bool value) { headerOnly = value; }
    void SetSpooledDAT(bool value) { spooledDAT = value; }
    bool GetSpooledDAT() const { return spooledDAT; }
    void SetSpoolMode(bool value) { spoolMode = value; }

    friend std::istream& operator>>(std::istream& is, TKavriImageData& data);
    friend std::ostream& operator<<(std::ostream& os, TKavriImageData& data);

protected:
    bool spoolMode = false;
    bool spooledDAT = false;
    bool headerOnly = false;
};

#endif

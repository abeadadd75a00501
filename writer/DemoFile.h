// The demo file the tool shows when it is given no file: a realistic synthetic
// acquisition written with the library's own record writers.
#ifndef KVMCF_TOOLS_DEMOFILE_H
#define KVMCF_TOOLS_DEMOFILE_H

#include <memory>
#include <string>

#include "writer/McfFileWriter.h"

namespace kvmcftools {

// Sets the acquisition settings a writer needs; the record keeps them protected.
class HeaderSettings : public TKestoImageData {
public:
    void Acquisition(unsigned char mode, unsigned char readPattern, float exposure, float kineticCycle,
                     int accumulations) {
        Mode = mode;
        ReadPattern = readPattern;
        ExposureTime = exposure;
        KineticCycleTime = kineticCycle;
        NoIntegrations = accumulations;
    }
    void Camera(float temperature, int emGain, float verticalShift, int width, int height) {
        Temperature = temperature;
        EMRealGain = emGain;
        VShiftSpeed = verticalShift;
        detector_format_x = width;
        detector_format_z = height;
    }
    void When(long long secondsSince1970) { Time = secondsSince1970; }
};

// Signal: a kinetic series of 1024-pixel spectra with a wavelength calibration.
// Background: one image frame holding two sub-images.
std::unique_ptr<TMCFIOManager::TImage> MakeDemoSignal();
std::unique_ptr<TMCFIOManager::TImage> MakeDemoBackground();

// Writes the demo acquisition to path; false when it could not be written.
bool WriteDemoFile(const std::string& path);

}  // namespace kvmcftools

#endif

#include "metadata/GaterSetting.h"

namespace {
const char* const kModeTexts[] = {"Fire AND Gate", "Fire only", "Direct Gate", "CW on", "CW off", "DDG on"};
}  // namespace

const char* TGaterSetting::GetModeText(int mode) {
    if (mode < 0 || mode >= static_cast<int>(sizeof kModeTexts / sizeof kModeTexts[0])) return nullptr;
    return kModeTexts[mode];
}

std::ostream& operator<<(std::ostream& os, const TGaterSetting& gater) {
    os << "Gate Delay = " << gater.GetTime().delay << "\n";
    os << "Gate Width = " << gater.GetTime().width << "\n";
    os << "Gate Mode  = " << gater.GetMode() << "\n";
    os << "MCP Gain   = " << gater.GetGain() << "\n";
    return os;
}

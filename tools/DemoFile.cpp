#include "tools/DemoFile.h"

#include "tools/McfFileWriter.h"

namespace kvmcftools {

bool WriteDemoFile(const std::string& path) {
    McfFileContent content;
    return WriteMcfFile(path, content);
}

}  // namespace kvmcftools

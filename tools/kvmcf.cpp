// kvmcf: look into multi-channel files.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/kvmcfio.h"
#include "tools/DemoFile.h"

namespace {

struct SourceName {
    KVMCF_DataSource source;
    const char* name;
};

const SourceName kSources[] = {
    {KVMCF_SIGNAL, "signal"}, {KVMCF_REFERENCE, "reference"}, {KVMCF_BACKGROUND, "background"},
    {KVMCF_LIVE, "live"},     {KVMCF_SOURCE, "source"},
};

const char* ResultText(unsigned int code) {
    switch (code) {
        case KVMCF_SUCCESS: return "success";
        case KVMCF_FORMAT_ERROR: return "not a readable multi-channel file (format error)";
        case KVMCF_NOT_LOADED: return "no file loaded";
        case KVMCF_FILE_ERROR: return "file error";
        case KVMCF_NOT_PRESENT: return "data source not present";
        default: return "invalid argument";
    }
}

int Summary(const std::string& path) {
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    const unsigned int result = KVMCF_ReadFromFile(name.data());
    if (result != KVMCF_SUCCESS) {
        std::fprintf(stderr, "kvmcf: %s: %s (%u)\n", path.c_str(), ResultText(result), result);
        return 1;
    }
    std::printf("%s\n", path.c_str());
    int any = 0;
    for (const SourceName& s : kSources) {
        int present = 0;
        KVMCF_IsDataSourcePresent(s.source, &present);
        if (!present) continue;
        any = 1;
        unsigned int frames = 0;
        KVMCF_GetNumberFrames(s.source, &frames);
        std::printf("  %-10s %u frames\n", s.name, frames);
    }
    if (!any) std::printf("  no data sources\n");
    KVMCF_CloseFile();
    return 0;
}

void Usage() {
    std::printf("usage: kvmcf [FILE]\n"
                "  Shows the data sources of a multi-channel file.\n"
                "  With no FILE, writes and shows a demo file (kvmcf-demo.mcf in the current folder).\n"
                "usage: kvmcf --write-demo PATH\n"
                "  Writes the demo file to PATH.\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && (std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "--help") == 0)) {
        Usage();
        return 0;
    }
    if (argc > 2 && std::strcmp(argv[1], "--write-demo") == 0) {
        if (!kvmcftools::WriteDemoFile(argv[2])) {
            std::fprintf(stderr, "kvmcf: cannot write the demo file %s\n", argv[2]);
            return 1;
        }
        return 0;
    }
    std::string path;
    if (argc > 1) {
        path = argv[1];
    } else {
        path = "kvmcf-demo.mcf";
        if (!kvmcftools::WriteDemoFile(path)) {
            std::fprintf(stderr, "kvmcf: cannot write the demo file %s\n", path.c_str());
            return 1;
        }
    }
    return Summary(path);
}

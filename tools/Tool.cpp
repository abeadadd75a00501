// The application: verbs, the demo, help and version, and how a bad command line ends.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "tools/ExportSupport.h"
#include "tools/ToolSupport.h"
#include "writer/DemoFile.h"

namespace kvmcftools {
namespace {

const char kDemoName[] = "kvmcf-demo.mcf";

// Writes the demo under a temporary name and renames it into place, so `out` holds a
// whole file or nothing.
int WriteDemo(const std::string& out, bool force) {
    std::string why;
    if (!ExtensionAgrees(out, OutputFormat::Mcf, &why)) {
        std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
        return kUsageProblem;
    }
    if (!OutputAllowed(out, {}, force, &why)) return Fail(why);
    OutputFile output(out);
    if (!output.Prepare(force, &why)) return Fail(why);
    RemoveOutputsOnInterrupt();
    if (!WriteDemoFile(output.TempPath())) return Fail(out + ": cannot write the demo file");
    if (!output.Commit(&why)) return Fail(why);
    return 0;
}

// With no arguments: the demo, written to kvmcf-demo.mcf only when no such file is
// there; otherwise to a temporary file shown and removed, so a file the user made
// under that name is never replaced.
int ShowDemo() {
    if (::access(kDemoName, F_OK) != 0 && WriteDemo(kDemoName, false) == 0) {
        const int code = RunSummary(kDemoName);
        std::printf("(the demo file is %s; try kvmcf --help)\n", kDemoName);
        return code;
    }
    const char* tmp = std::getenv("TMPDIR");
    std::string path = std::string(tmp && *tmp ? tmp : "/tmp") + "/kvmcf-demo-XXXXXX";
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    const int fd = ::mkstemp(name.data());
    if (fd < 0) return Fail("cannot make a temporary file for the demo");
    ::close(fd);
    path = name.data();
    int code = WriteDemoFile(path) ? RunSummary(path) : Fail(path + ": cannot write the demo file");
    std::remove(path.c_str());
    if (code == 0) std::printf("(a demo shown from a temporary file; kvmcf --write-demo PATH keeps one)\n");
    return code;
}

}  // namespace

CLI::Validator SourceCheck(std::vector<std::string> extra) {
    return CLI::Validator([extra](std::string& name) { return SourceNameError(name, extra); }, "NAME");
}

int RunTool(int argc, const char* const* argv) {
    CLI::App app("kvmcf: look into multi-channel files. Frames and sub-images count from 0 everywhere.", "kvmcf");
    app.set_version_flag("--version", kvmcf::libraryVersion());
    app.require_subcommand(0, 1);
    app.footer("With FILE and no verb, kvmcf summarises FILE; with nothing at all it shows the demo file.\n"
               "Exit codes: 0 done, 1 a file could not be read or written, 2 a bad command line.");

    std::string demoPath;
    bool demoForce = false;
    std::vector<std::string> files;
    app.add_option("--write-demo", demoPath, "Write the demo file to PATH (refused if PATH exists, unless --force)")
        ->type_name("PATH");
    app.add_flag("--force", demoForce, "With --write-demo: replace an existing PATH");
    app.add_option("FILE", files, "A file to summarise");

    Run run;
    AddInfoCommand(app, &run);
    AddFramesCommand(app, &run);
    AddStatsCommand(app, &run);
    AddCheckCommand(app, &run);
    AddSalvageCommand(app, &run);
    AddExportCommand(app, &run);
    AddPreviewCommand(app, &run);
    AddRefsCommand(app, &run);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);  // --help, --version
        std::fprintf(stderr, "kvmcf: %s (try kvmcf --help)\n", e.what());
        return kUsageProblem;
    }
    if (run) return run();
    if (!demoPath.empty()) {
        if (!files.empty()) {
            std::fprintf(stderr, "kvmcf: --write-demo takes no FILE (try kvmcf --help)\n");
            return kUsageProblem;
        }
        return WriteDemo(demoPath, demoForce);
    }
    if (files.empty()) return ShowDemo();
    int code = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (i) std::printf("\n");
        if (RunSummary(files[i]) != 0) code = kFileProblem;
    }
    return code;
}

}  // namespace kvmcftools

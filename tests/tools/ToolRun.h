// Runs the built kvmcf program as a user would and keeps what it said.
#ifndef KVMCF_TESTS_TOOLS_TOOLRUN_H
#define KVMCF_TESTS_TOOLS_TOOLRUN_H

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestFiles.h"

namespace kvmcftest {

struct ToolResult {
    int code = -1;
    std::string out, err;
    long ErrLines() const { return std::count(err.begin(), err.end(), '\n'); }
};

// The file's bytes; empty for one that cannot be read (missing, a folder).
inline std::string Slurp(const std::string& path) {
    std::ifstream is(path, std::ios::binary);
    std::ostringstream all;
    all << is.rdbuf();
    return all.str();
}

inline void Spit(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// kvmcf ARGS, run in `folder` (the current one when empty), each argument quoted for the shell.
inline ToolResult Kvmcf(const std::vector<std::string>& args, const std::string& folder = "") {
    static int serial = 0;
    const std::string base = "/tmp/kvmcf-tooltest-" + std::to_string(::getpid()) + "-" + std::to_string(serial++);
    auto quoted = [](const std::string& word) {
        std::string q = "'";
        for (char c : word) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return q + "'";
    };
    std::string command = (folder.empty() ? "" : "cd " + quoted(folder) + " && ") + quoted(KVMCF_TOOL);
    for (const std::string& a : args) command += " " + quoted(a);
    const int status = std::system((command + " >" + base + ".out 2>" + base + ".err").c_str());
    ToolResult r;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.out = Slurp(base + ".out");
    r.err = Slurp(base + ".err");
    std::remove((base + ".out").c_str());
    std::remove((base + ".err").c_str());
    return r;
}

}  // namespace kvmcftest

#endif

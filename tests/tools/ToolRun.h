// Runs the built kvmcf program as a user would and keeps what it said.
#ifndef KVMCF_TESTS_TOOLS_TOOLRUN_H
#define KVMCF_TESTS_TOOLS_TOOLRUN_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestFiles.h"

namespace kvmcftest {

struct ToolResult {
    int code = -1;
    std::string out, err;
    // The lines written to stderr.
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

// kvmcf ARGS, run in `folder` (the current one when empty).
inline ToolResult Kvmcf(const std::vector<std::string>& args, const std::string& folder = "") {
    static int serial = 0;
    const std::string base = "/tmp/kvmcf-tooltest-" + std::to_string(::getpid()) + "-" + std::to_string(serial++);
    const std::string out = base + ".out", err = base + ".err";
    std::vector<std::string> words{KVMCF_TOOL};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (!folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    ToolResult r;
    pid_t pid = 0;
    if (posix_spawn(&pid, KVMCF_TOOL, &actions, nullptr, argv.data(), environ) == 0) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    r.out = Slurp(out);
    r.err = Slurp(err);
    std::remove(out.c_str());
    std::remove(err.c_str());
    return r;
}

}  // namespace kvmcftest

#endif

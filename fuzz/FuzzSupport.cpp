#include "fuzz/FuzzSupport.h"

#include <cstdio>
#include <cstdlib>

namespace kvmcffuzz {

void Fail(const std::string& what) {
    std::fprintf(stderr, "finding: %s\n", what.c_str());
    std::abort();
}

void Expect(const char* call, unsigned int code, std::initializer_list<unsigned int> allowed) {
    for (unsigned int a : allowed)
        if (code == a) return;
    Fail(std::string(call) + " returned " + std::to_string(code));
}

}  // namespace kvmcffuzz

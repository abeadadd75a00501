// kvmcf: look into multi-channel files.
#include "tools/Commands.h"

int main(int argc, char** argv) { return kvmcftools::RunTool(argc, argv); }

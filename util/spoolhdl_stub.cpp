#include "util/spoolhdl_stub.h"

SpoolHandler::SpoolHandler(int, unsigned int, unsigned int, bool) : cacheLimit(50), mapLimit(5) {}

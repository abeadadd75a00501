#include "metadata/DDGTime.h"

std::ostream& operator<<(std::ostream& os, const TDDGTime& time) { return os << time.GetU64TimePS(); }

/* The shared object's own translation unit: its code comes whole from the core library. */
#include "api/kvmcfio.h"

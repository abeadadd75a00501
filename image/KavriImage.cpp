#include "image/KavriImage.h"

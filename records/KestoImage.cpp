#include "records/KestoImage.h"

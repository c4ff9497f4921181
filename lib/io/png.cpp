#include "png.h"

#include "bmp.h"

#include "jpeg.h"

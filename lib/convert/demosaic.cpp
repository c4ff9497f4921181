#include "demosaic.h"

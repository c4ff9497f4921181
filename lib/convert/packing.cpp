#include "packing.h"

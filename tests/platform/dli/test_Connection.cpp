#include "LinkBench.h"

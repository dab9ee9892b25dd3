// The program starts in wmain (host/ServiceControl.h); this include provides the platform's main function, which calls
// it.
#include "WideMain.h"

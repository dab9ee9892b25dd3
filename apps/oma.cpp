// The program begins in wmain (host/ServiceControl.h); this line brings the system's own entry there.
#include "WideMain.h"

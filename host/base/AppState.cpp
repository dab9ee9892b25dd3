#include "host/base/AppState.h"

std::atomic<EAppState> g_eAppState{eAppRun};
std::atomic<EDataSource> g_eDataSource{eSrcServer};
std::atomic<bool> g_bConnected{false};

#include "link/CChannelOut.h"

CChannelOut::~CChannelOut() = default;

#include "link/output/CChannelOut.h"

CChannelOut::~CChannelOut() = default;

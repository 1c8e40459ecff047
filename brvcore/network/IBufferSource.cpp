#include "brvcore/network/IBufferSource.h"

IBufferSource::~IBufferSource() = default;

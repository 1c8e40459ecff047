#include "brvcore/foundation/RefCntObject.h"

RefCntObject::~RefCntObject() = default;

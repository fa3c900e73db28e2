#pragma once

#include <cjson/cJSON.h>

// Why a value is not what its key is for, although it is of the right kind: the edge would cut it,
// put another in its place, or be of no use with it. Null when it is in order. The key is one of
// cfg_keys.h, which may be several sections' and is of one meaning then.
const char* cfg_value_fault(const char* key, const cJSON* value);

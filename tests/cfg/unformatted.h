#pragma once

#include <string>

#include "cfg/json_object.h"

// The tree as text without blanks; deletes the tree.
inline std::string Unformatted(cJSON* tree) {
    char* printed = cJSON_PrintUnformatted(tree);
    std::string text = printed ? printed : "";
    CTJsonObject::Free(printed);
    cJSON_Delete(tree);
    return text;
}

#pragma once

#include <cjson/cJSON.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "ctl/figures.h"

// Reads members of a reply: what is not there, or is not what it should be, is "-". Any of the
// nodes may be null.

inline const cJSON* ctl_member(const cJSON* object, const char* key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}

inline std::string ctl_text(const cJSON* object, const char* key) {
    const char* text = cJSON_GetStringValue(ctl_member(object, key));
    return text && *text != '\0' ? text : "-";
}

// Not-a-number where it is none.
inline double ctl_number(const cJSON* object, const char* key) {
    return cJSON_GetNumberValue(ctl_member(object, key));
}

// A figure in its form, as ctl_bytes.
inline std::string ctl_figure(const cJSON* object, const char* key, std::string (*form)(double)) {
    double number = ctl_number(object, key);
    return std::isfinite(number) ? form(number) : "-";
}

inline std::string ctl_whole(double number) {
    char text[512];  // the largest double has 309 digits
    snprintf(text, sizeof text, "%.0f", number);
    return text;
}

inline std::string ctl_count(const cJSON* object, const char* key) {
    return ctl_figure(object, key, ctl_whole);
}

#pragma once

#include <cjson/cJSON.h>

#include <string>

// The replies of the programs as people read them; what is not in a reply is shown as "-". Whatever
// the reply holds, the text is safe on a terminal.

// Of either program.
std::string ctl_show_status(const cJSON* reply, bool colour);
// Of a central router.
std::string ctl_show_subnets(const cJSON* reply, bool colour);
std::string ctl_show_removed(const cJSON* reply);

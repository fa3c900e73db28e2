#pragma once

#include <string>

#include "tcr/state_record.h"

// Whether a central router can take the image up: every index, address, text and count in its
// range, no subnet, slot, serial number or address given twice. False with the reason in fault.
bool tcr_state_check(const TcrStateImage& image, std::string& fault);

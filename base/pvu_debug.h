#pragma once

// The library's debug level and title: plain globals without a lock.

int pvu_get_debug_level();
// Returns the new level.
int pvu_set_debug_level(int level);

// The title buffer: at most 256 characters and a terminator.
char* pvu_get_debug_title();
// Ignored when null, empty or longer than 256 characters.
void pvu_set_debug_title(const char* title);

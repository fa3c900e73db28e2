#pragma once

#include <string>

// What happens to the state file outside the database: everything that must not change a file that
// turns out not to be ours.

// Whether there is a state file at the path that a database may open, or nothing at all: path is
// then the file's own, behind symbolic links, and exists says which. Reads only. False with the
// reason in fault, for what is no regular file, no database, another program's database, or a
// database whose last change was broken off by another program.
bool tcr_state_examine(std::string& path, bool& exists, std::string& fault);

// Makes the file with that content, for its owner's eyes only whatever the umask, on disk when it
// returns: all of it or nothing. False with the reason in fault, also when the path has come into
// being meanwhile.
bool tcr_state_create(const std::string& path, const std::string& content, std::string& fault);

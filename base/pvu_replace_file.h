#pragma once

#include <cstddef>

// Gives a file new content, as a whole and for its owner's eyes only: the bytes are written to a
// new file beside it (mode 0600 whatever the umask, owner kept), flushed to disk and renamed over
// it, so that a crash or a full disk leaves either the old content or the new. A symbolic link is
// followed. Where the folder does not allow a new file or the rename (no permission, read-only
// folder, a file mounted on its own), the file is written in place.
//
// 1 on success, 0 on failure with the reason in errno.
int pvu_replace_file(const char* path, const void* data, size_t size);

#pragma once

// Path and file-system functions, null-safe. CTFileOp forwards to the free functions.

// False for null; otherwise whether the path exists.
bool check_file_exist(const char* path);

// The file's size cut to 32 bits, 0 for null and on failure. Prints the size or the failure to
// standard output.
int get_file_length(const char* path);

// The directory of the running executable with its trailing "/", cut to size - 1 characters.
// 0 on success, 1 on failure.
int get_exe_file_dir(char* buf, int size);

// Creates, with mode 0755, every directory of the path that ends at a "/", so the last component
// only when the path ends with one. 0 on success; 1 on failure, for null and for a path longer
// than the system allows.
int create_dir(const char* path);

// 0 when the working directory fits into buf, otherwise 1.
int get_current_dir(char* buf, int size);

class CTFileOp {
  public:
    static bool FileExist(const char* path) { return check_file_exist(path); }
    static int FileLength(const char* path) { return get_file_length(path); }
    static int GetExecFilePath(char* buf, int size) { return get_exe_file_dir(buf, size); }
    static int CreateDir(const char* path) { return create_dir(path); }
    static int GetCurrentDir(char* buf, int size) { return get_current_dir(buf, size); }
};

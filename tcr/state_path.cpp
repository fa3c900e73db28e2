#include "tcr/state_path.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "inet/tnet_byteorder.h"
#include "tcr/state_schema.h"

namespace {

using namespace std::string_view_literals;

// The first bytes of every database file.
constexpr size_t kHeaderSize = 100;
constexpr std::string_view kMagic = "SQLite format 3\0"sv;
constexpr size_t kApplicationIdOffset = 68;

class Descriptor {
  public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_fd; }

  private:
    int m_fd;
};

bool FaultOfSystem(std::string& fault, const char* what) {
    fault = std::string(what) + ": " + strerror(errno);
    return false;
}

bool Fault(std::string& fault, const char* reason) {
    fault = reason;
    return false;
}

bool ExamineHeader(const std::string& path, std::string& fault) {
    Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0) {
        return FaultOfSystem(fault, "cannot be opened");
    }
    if (!S_ISREG(status.st_mode)) return Fault(fault, "is no regular file");
    if (status.st_size == 0) return Fault(fault, "is empty");
    uint8_t header[kHeaderSize] = {};
    ssize_t size = pread(file.Get(), header, sizeof header, 0);
    if (size < 0) return FaultOfSystem(fault, "cannot be read");
    if (size != sizeof header || memcmp(header, kMagic.data(), kMagic.size()) != 0) {
        return Fault(fault, "is not a database");
    }
    if (tnet_load32(header + kApplicationIdOffset) == kTcrApplicationId) return true;
    return Fault(fault, "is a database, but no state of a central router");
}

bool WriteAll(int fd, const std::string& content) {
    for (size_t done = 0; done < content.size();) {
        ssize_t size = write(fd, content.data() + done, content.size() - done);
        if (size < 0 && errno != EINTR) return false;
        if (size > 0) done += static_cast<size_t>(size);
    }
    return fsync(fd) == 0;
}

bool SyncFolder(const std::string& path) {
    size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    Descriptor fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.Get() >= 0 && fsync(fd.Get()) == 0;
}

}  // namespace

bool tcr_state_examine(std::string& path, bool& exists, std::string& fault) {
    struct FreeText {
        void operator()(char* text) const { free(text); }
    };
    std::unique_ptr<char, FreeText> own(realpath(path.c_str(), nullptr));
    exists = own != nullptr;
    if (!exists) return errno == ENOENT || FaultOfSystem(fault, "cannot be opened");
    path = own.get();
    if (!ExamineHeader(path, fault)) return false;
    // This program leaves none; to play it back would change the file before it is known whether
    // it is sound.
    struct stat journal = {};
    if (stat((path + "-journal").c_str(), &journal) != 0 || journal.st_size == 0) return true;
    return Fault(fault, "has a rollback journal beside it that another program left");
}

bool tcr_state_create(const std::string& path, const std::string& content, std::string& fault) {
    std::string beside = path + ".XXXXXX";
    Descriptor file(mkostemp(beside.data(), O_CLOEXEC));  // with mode 0600
    if (file.Get() < 0) return FaultOfSystem(fault, "cannot be made");
    // A link does not replace what another process has made at the path since.
    bool made = fchmod(file.Get(), S_IRUSR | S_IWUSR) == 0 && WriteAll(file.Get(), content) &&
                link(beside.c_str(), path.c_str()) == 0;
    if (!made) FaultOfSystem(fault, "cannot be made");
    unlink(beside.c_str());
    if (made && !SyncFolder(path)) return FaultOfSystem(fault, "cannot be made durable");
    return made;
}

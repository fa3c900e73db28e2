#include "seal/seal_key.h"

#include <fcntl.h>
#include <gnutls/abstract.h>
#include <gnutls/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>

namespace {

constexpr size_t kMaxFileSize = 16 * 1024;
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
constexpr time_t kYears = 100;
constexpr time_t kYear = 365 * 24 * 3600;

struct CertificateDeleter {
    void operator()(gnutls_x509_crt_t certificate) const { gnutls_x509_crt_deinit(certificate); }
};
using Certificate = std::unique_ptr<gnutls_x509_crt_int, CertificateDeleter>;

struct Descriptor {
    explicit Descriptor(int number) : fd(number) {}
    ~Descriptor() {
        if (fd >= 0) close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int fd;
};

bool Fault(std::string& fault, const std::string& where, const std::string& reason) {
    fault = where + ": " + reason;
    return false;
}

bool IsDone(int result, const char* what, std::string& fault) {
    return result == GNUTLS_E_SUCCESS || Fault(fault, what, gnutls_strerror(result));
}

// At most kMaxFileSize bytes and one more.
bool ReadAll(int fd, std::string& content) {
    char bytes[4096];
    while (content.size() <= kMaxFileSize) {
        ssize_t n = read(fd, bytes, sizeof bytes);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return n == 0;
        content.append(bytes, static_cast<size_t>(n));
    }
    return true;
}

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return fsync(fd) == 0;
}

}  // namespace

CTSealKey::~CTSealKey() {
    Close();
}

void CTSealKey::Close() {
    if (m_credentials) gnutls_certificate_free_credentials(m_credentials);
    if (m_key) gnutls_x509_privkey_deinit(m_key);
    m_credentials = nullptr;
    m_key = nullptr;
}

bool CTSealKey::Open(const std::string& path, std::string& fault) {
    Close();
    bool exists = false;
    bool good = Load(path, exists, fault) ||
                (!exists && fault.empty() && Generate(fault) && Store(path, fault));
    if (good && Certify(fault)) return true;
    Close();
    fault = "key file " + path + ": " + fault;
    return false;
}

bool CTSealKey::Make(std::string& fault) {
    Close();
    if (Generate(fault) && Certify(fault)) return true;
    Close();
    return false;
}

// False without a fault when there is no such file.
bool CTSealKey::Load(const std::string& path, bool& exists, std::string& fault) {
    fault.clear();
    Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    exists = file.fd >= 0;
    if (!exists) {
        if (errno != ENOENT) Fault(fault, "cannot be opened", strerror(errno));
        return false;
    }
    struct stat status;
    if (fstat(file.fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        fault = "is not a regular file";
        return false;
    }
    if ((status.st_mode & kOthers) != 0) {
        fault = "others than its owner may read or write it, see chmod 600";
        return false;
    }
    std::string content;
    if (!ReadAll(file.fd, content)) return Fault(fault, "cannot be read", strerror(errno));
    gnutls_datum_t pem = {reinterpret_cast<unsigned char*>(content.data()),
                          static_cast<unsigned>(content.size())};
    gnutls_x509_privkey_init(&m_key);
    bool good = content.size() <= kMaxFileSize &&
                gnutls_x509_privkey_import(m_key, &pem, GNUTLS_X509_FMT_PEM) == 0 &&
                gnutls_x509_privkey_get_pk_algorithm(m_key) == GNUTLS_PK_ECDSA &&
                gnutls_x509_privkey_verify_params(m_key) == 0;
    gnutls_memset(content.data(), 0, content.size());
    if (!good) fault = "is damaged: it holds no ECDSA key";
    return good;
}

bool CTSealKey::Generate(std::string& fault) {
    gnutls_x509_privkey_init(&m_key);
    return IsDone(gnutls_x509_privkey_generate(m_key, GNUTLS_PK_ECDSA,
                                               GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0),
                  "a key cannot be made", fault);
}

// Never over a file that has come into being meanwhile; what is half written goes again.
bool CTSealKey::Store(const std::string& path, std::string& fault) const {
    gnutls_datum_t pem = {};
    if (!IsDone(gnutls_x509_privkey_export2_pkcs8(m_key, GNUTLS_X509_FMT_PEM, nullptr,
                                                  GNUTLS_PKCS_PLAIN, &pem),
                "a key cannot be written", fault)) {
        return false;
    }
    Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                         S_IRUSR | S_IWUSR));
    bool made = file.fd >= 0;
    bool written = made && fchmod(file.fd, S_IRUSR | S_IWUSR) == 0 &&
                   WriteAll(file.fd, reinterpret_cast<char*>(pem.data), pem.size);
    if (!written) Fault(fault, "cannot be made", strerror(errno));
    gnutls_memset(pem.data, 0, pem.size);
    gnutls_free(pem.data);
    if (made && !written) unlink(path.c_str());
    return written;
}

bool CTSealKey::Certify(std::string& fault) {
    gnutls_x509_crt_t raw = nullptr;
    if (!IsDone(gnutls_x509_crt_init(&raw), "no certificate", fault)) return false;
    Certificate certificate(raw);
    constexpr unsigned char kSerial[] = {1};
    constexpr char kName[] = "tamvo";
    time_t now = time(nullptr);
    int result = gnutls_x509_crt_set_version(raw, 3);
    if (result == 0) result = gnutls_x509_crt_set_serial(raw, kSerial, sizeof kSerial);
    if (result == 0) {
        result = gnutls_x509_crt_set_dn_by_oid(raw, GNUTLS_OID_X520_COMMON_NAME, 0, kName,
                                               sizeof kName - 1);
    }
    if (result == 0) result = gnutls_x509_crt_set_activation_time(raw, 0);
    if (result == 0) result = gnutls_x509_crt_set_expiration_time(raw, now + kYears * kYear);
    if (result == 0) result = gnutls_x509_crt_set_key(raw, m_key);
    if (result == 0) result = gnutls_x509_crt_sign2(raw, raw, m_key, GNUTLS_DIG_SHA256, 0);
    if (result == 0) result = gnutls_certificate_allocate_credentials(&m_credentials);
    if (result == 0) result = gnutls_certificate_set_x509_key(m_credentials, &raw, 1, m_key);
    std::array<uint8_t, CTSealFingerprint::kSize> id;
    size_t size = id.size();
    if (result == 0) {
        result = gnutls_x509_privkey_get_key_id(m_key, GNUTLS_KEYID_USE_SHA256, id.data(), &size);
    }
    if (!IsDone(result, "no certificate", fault)) return false;
    m_fingerprint = CTSealFingerprint(id);
    return true;
}

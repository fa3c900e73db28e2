#pragma once

#include <gnutls/gnutls.h>

#include <string>

#include "seal/seal_fingerprint.h"

// The key by which this end of sealed channels is known to the other one: an ECDSA key on P-256
// with a certificate of its own signature, which only carries it; nobody looks at its names and
// dates. The file holds the private key alone, as PEM (PKCS #8).
//
// Owned by the program's system object and read by all its sessions, which it must outlive. Made
// and opened by the main thread; const from then on, for any thread.
class CTSealKey {
  public:
    CTSealKey() = default;
    ~CTSealKey();
    CTSealKey(const CTSealKey&) = delete;
    CTSealKey& operator=(const CTSealKey&) = delete;

    // Takes the key that the file holds; one that is not there yet is made, mode 0600 whatever the
    // umask. False with one line in fault, and the file as it was, for one that is damaged, cannot
    // be read, or is for others' eyes too.
    bool Open(const std::string& path, std::string& fault);
    // A key that no file holds: for tools and tests.
    bool Make(std::string& fault);

    bool IsOpen() const { return m_credentials != nullptr; }
    const CTSealFingerprint& GetFingerprint() const { return m_fingerprint; }
    // For sessions.
    gnutls_certificate_credentials_t GetCredentials() const { return m_credentials; }

  private:
    void Close();
    bool Load(const std::string& path, bool& exists, std::string& fault);
    bool Generate(std::string& fault);
    bool Store(const std::string& path, std::string& fault) const;
    bool Certify(std::string& fault);

    gnutls_x509_privkey_t m_key = nullptr;
    gnutls_certificate_credentials_t m_credentials = nullptr;
    CTSealFingerprint m_fingerprint;
};

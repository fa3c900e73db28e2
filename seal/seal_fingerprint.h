#pragma once

#include <array>
#include <cstdint>
#include <string>

// What a key is known by: SHA-256 of its DER SubjectPublicKeyInfo (RFC 5280). Written as
// "sha256:" and 64 hexadecimal digits. A plain value.
class CTSealFingerprint {
  public:
    static constexpr int kSize = 32;

    CTSealFingerprint() = default;
    explicit CTSealFingerprint(const std::array<uint8_t, kSize>& bytes) : m_bytes(bytes) {}

    // Takes the text over, digits of either case; false, with nothing changed, for any other text.
    bool Parse(const std::string& text);
    // With small letters.
    std::string Text() const;

    bool operator==(const CTSealFingerprint& other) const = default;

  private:
    std::array<uint8_t, kSize> m_bytes{};
};

#include "seal/seal_fingerprint.h"

#include <cstdio>

namespace {

constexpr char kPrefix[] = "sha256:";
constexpr size_t kPrefixSize = sizeof kPrefix - 1;
constexpr int kNoDigit = -1;

int ValueOf(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return kNoDigit;
}

}  // namespace

bool CTSealFingerprint::Parse(const std::string& text) {
    if (text.size() != kPrefixSize + 2 * kSize || text.compare(0, kPrefixSize, kPrefix) != 0) {
        return false;
    }
    std::array<uint8_t, kSize> bytes;
    for (size_t i = 0; i < bytes.size(); ++i) {
        int high = ValueOf(text[kPrefixSize + 2 * i]);
        int low = ValueOf(text[kPrefixSize + 2 * i + 1]);
        if (high == kNoDigit || low == kNoDigit) return false;
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    m_bytes = bytes;
    return true;
}

std::string CTSealFingerprint::Text() const {
    std::string text = kPrefix;
    for (uint8_t byte : m_bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

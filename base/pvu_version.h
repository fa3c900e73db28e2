#pragma once

#include <compare>
#include <cstdint>

// A version packed as major x 65536 + minor x 256 + patch.
class CTVersion {
  public:
    CTVersion() = default;
    explicit CTVersion(unsigned int packed) { Set(packed); }
    CTVersion(unsigned short major, unsigned char minor, unsigned char patch) {
        Set(major, minor, patch);
    }

    void Set(unsigned int packed) { m_version = packed; }
    void Set(unsigned short major, unsigned char minor, unsigned char patch) {
        m_version = static_cast<uint32_t>(major) << 16 | static_cast<uint32_t>(minor) << 8 | patch;
    }
    CTVersion& operator=(unsigned int packed) {
        Set(packed);
        return *this;
    }

    unsigned int GetVersion() const { return m_version; }
    unsigned short GetMajor() const { return static_cast<unsigned short>(m_version >> 16); }
    unsigned char GetMinor() const { return static_cast<unsigned char>(m_version >> 8); }
    unsigned char GetPatch() const { return static_cast<unsigned char>(m_version); }

    bool operator==(const CTVersion& other) const = default;
    auto operator<=>(const CTVersion& other) const = default;

  private:
    uint32_t m_version = 0;
};

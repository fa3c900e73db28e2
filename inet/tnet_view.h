#pragma once

#include <cstdint>
#include <cstdio>

#include "base/pvu_assert.h"
#include "base/pvu_string.h"
#include "inet/tnet_byteorder.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ip.h"

// What the header views share.
//
// A view points at a wire record that lies in somebody else's bytes, and reads and writes its
// fields in place. It owns nothing: the bytes must outlive it, and whoever holds them is the only
// thread to use the view. Every field has a getter and a setter, each in two forms:
//
//     instance   GetTTL()       SetTTL(64)         on the attached record
//     static     GetTTL(iph)    SetTTL(iph, 64)    on a record pointer
//
// Values are in host byte order, the record is in network order. MAC and IPv6 addresses travel as
// pointers to their bytes in wire order.
//
// Precondition of all of them: the record's bytes are there. A view cannot know how many were
// received; whoever attaches one has compared the lengths.
//
// An unattached view or a null argument is a failed assertion whose text ends in the operation's
// full signature. For that reason the instance operations are not const-qualified, not even the
// getters: "const" would stand in that text.

// Each view class names the file of its assertions as kFile.
#define TNET_ASSERT(pointer) \
    PVU_ASSERT((pointer) != nullptr, "(" #pointer " != __null)", kFile, __LINE__)
#define TNET_ASSERT_BOTH(a, b)                                                                    \
    PVU_ASSERT((a) != nullptr && (b) != nullptr, "(" #a " != __null && " #b " != __null)", kFile, \
               __LINE__)
#define TNET_ASSERT_EITHER(a, b)                                                                  \
    PVU_ASSERT((a) != nullptr || (b) != nullptr, "(" #a " != __null || " #b " != __null)", kFile, \
               __LINE__)

// The macros below make the regular operations, so that a view's class reads as a table of its
// record's fields. arg is the name under which the record appears in assertion texts.
//
// They paste types, members and parameter names, which take no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)

// Construction (unattached, or attached to a record), and
//   bool Attach(record)   points the view at the record; always true
#define TNET_ATTACH(View, Record, arg) \
    View() = default;                  \
    explicit View(Record* arg) {       \
        Attach(arg);                   \
    }                                  \
    bool Attach(Record* arg) {         \
        TNET_ASSERT(arg);              \
        m_ptr = arg;                   \
        return true;                   \
    }

//   void Copy(dst)        copies the attached record, its fixed part, into the caller's
//   static Copy(dst, src)
#define TNET_COPY(Record)                              \
    void Copy(Record* dst) {                           \
        TNET_ASSERT(m_ptr);                            \
        Copy(dst, m_ptr);                              \
    }                                                  \
    static void Copy(Record* dst, const Record* src) { \
        TNET_ASSERT_BOTH(dst, src);                    \
        *dst = *src;                                   \
    }

//   void Print(text)      appends the print-out; the static form is the class's own function
//   void Show()           writes it to standard output
#define TNET_PRINT(Record, arg)                           \
    static void Print(const Record* arg, CTString& text); \
    void Print(CTString& text) {                          \
        TNET_ASSERT(m_ptr);                               \
        Print(m_ptr, text);                               \
    }                                                     \
    static void Show(const Record* arg) {                 \
        TNET_ASSERT(arg);                                 \
        CTString text;                                    \
        Print(arg, text);                                 \
        printf("%s", text.c_str());                       \
    }                                                     \
    void Show() {                                         \
        TNET_ASSERT(m_ptr);                               \
        Show(m_ptr);                                      \
    }

// A value computed from the record.
#define TNET_GETTER(Type, Name, Record, arg, expression) \
    static Type Name(const Record* arg) {                \
        TNET_ASSERT(arg);                                \
        return static_cast<Type>(expression);            \
    }                                                    \
    Type Name() {                                        \
        TNET_ASSERT(m_ptr);                              \
        return Name(m_ptr);                              \
    }

// Stores into a member what the expression makes of the argument, called value.
#define TNET_SETTER(Type, Name, Record, arg, member, expression)      \
    static void Name(Record* arg, Type value) {                       \
        TNET_ASSERT(arg);                                             \
        arg->member = static_cast<decltype(arg->member)>(expression); \
    }                                                                 \
    void Name(Type value) {                                           \
        TNET_ASSERT(m_ptr);                                           \
        Name(m_ptr, value);                                           \
    }

// GetName and SetName of an integer field.
#define TNET_FIELD8(Name, Record, arg, member)                 \
    TNET_GETTER(uint8_t, Get##Name, Record, arg, arg->member); \
    TNET_SETTER(uint8_t, Set##Name, Record, arg, member, value)
#define TNET_FIELD16(Name, Record, arg, member)                        \
    TNET_GETTER(uint16_t, Get##Name, Record, arg, ntohs(arg->member)); \
    TNET_SETTER(uint16_t, Set##Name, Record, arg, member, htons(value))
#define TNET_FIELD32(Name, Record, arg, member)                        \
    TNET_GETTER(uint32_t, Get##Name, Record, arg, ntohl(arg->member)); \
    TNET_SETTER(uint32_t, Set##Name, Record, arg, member, htonl(value))

// GetName and SetName of an address field: a pointer to the bytes in the record, and a copy of the
// bytes at a pointer.
#define TNET_ADDR_FIELD(Type, Name, Record, arg, member)            \
    TNET_GETTER(const Type*, Get##Name, Record, arg, &arg->member); \
    static void Set##Name(Record* arg, const Type* addr) {          \
        TNET_ASSERT(arg);                                           \
        TNET_ASSERT(addr);                                          \
        arg->member = *addr;                                        \
    }                                                               \
    void Set##Name(const Type* addr) {                              \
        TNET_ASSERT(m_ptr);                                         \
        Set##Name(m_ptr, addr);                                     \
    }

// The checksum operations of a UDP or TCP view under one kind of IP header:
//   uint16_t CalcCheckSum(ip)    the checksum with the stored one taken as 0
//   int UpdateCheckSum(ip)       stores it; 0
//   bool VerifyCheckSum(ip)      whether it is the stored one
// each also static, with the record first. The stored checksum is 0 while they compute.
// Precondition as for the free function: the bytes that the IP header announces lie behind the
// record.
#define TNET_L4_CHECKSUM(Record, arg, IpRecord, ip_arg, cksum)          \
    static uint16_t CalcCheckSum(Record* arg, const IpRecord* ip_arg) { \
        TNET_ASSERT_BOTH(arg, ip_arg);                                  \
        uint16_t stored = arg->checksum;                                \
        arg->checksum = 0;                                              \
        uint16_t sum = cksum(ip_arg, arg);                              \
        arg->checksum = stored;                                         \
        return ntohs(sum);                                              \
    }                                                                   \
    static int UpdateCheckSum(Record* arg, const IpRecord* ip_arg) {    \
        TNET_ASSERT_BOTH(arg, ip_arg);                                  \
        SetCheckSum(arg, CalcCheckSum(arg, ip_arg));                    \
        return 0;                                                       \
    }                                                                   \
    static bool VerifyCheckSum(Record* arg, const IpRecord* ip_arg) {   \
        TNET_ASSERT_BOTH(arg, ip_arg);                                  \
        return CalcCheckSum(arg, ip_arg) == GetCheckSum(arg);           \
    }                                                                   \
    uint16_t CalcCheckSum(const IpRecord* ip_arg) {                     \
        TNET_ASSERT(m_ptr);                                             \
        return CalcCheckSum(m_ptr, ip_arg);                             \
    }                                                                   \
    int UpdateCheckSum(const IpRecord* ip_arg) {                        \
        TNET_ASSERT(m_ptr);                                             \
        return UpdateCheckSum(m_ptr, ip_arg);                           \
    }                                                                   \
    bool VerifyCheckSum(const IpRecord* ip_arg) {                       \
        TNET_ASSERT(m_ptr);                                             \
        return VerifyCheckSum(m_ptr, ip_arg);                           \
    }

// NOLINTEND(bugprone-macro-parentheses)

// One line of a print-out: the label, an address in its text form, a newline.
inline void tnet_print_line(CTString& text, const char* label, const tnet_ether_addr* mac) {
    text.Append(label);
    CEtherAddr::Print(mac, text);
    text.Append("\n");
}

inline void tnet_print_line(CTString& text, const char* label, uint32_t ip) {
    text.Append(label);
    CIPv4Addr(ip).Print(text);
    text.Append("\n");
}

inline void tnet_print_line(CTString& text, const char* label, const tsdw_ipv6_addr* ip) {
    text.Append(label);
    CIPv6Addr::Print(ip, text);
    text.Append("\n");
}

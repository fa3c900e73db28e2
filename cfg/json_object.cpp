#include "cfg/json_object.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "base/pvu_file.h"
#include "base/pvu_fileop.h"
#include "base/pvu_replace_file.h"

namespace {

constexpr int kPieceSize = 256;
constexpr int kFileSlack = 128;         // read beyond the length the file had when it was asked
constexpr int kUnknownFileSize = 2048;  // for an empty file, and one that does not tell its length
constexpr int kBoolTypes = cJSON_True | cJSON_False;
constexpr double kTwoTo63 = 9223372036854775808.0;

// A cast from a double outside the target's range is undefined, so the range is tested first.
int TruncateToInt(double number) {
    if (!(number >= -kTwoTo63 && number < kTwoTo63)) return INT_MIN;
    return static_cast<int>(static_cast<int64_t>(number));
}

template <typename Value>
bool Take(cJSON* node, Value (CTJsonObject::*get)() const, Value& value) {
    if (!node) return false;
    CTJsonObject item;
    item.Attach(node);
    value = (item.*get)();
    return true;
}

template <typename Result, typename Value>
bool Apply(cJSON* node, Result (CTJsonObject::*set)(Value), Value value) {
    if (!node) return false;
    CTJsonObject item;
    item.Attach(node);
    (item.*set)(value);
    return true;
}

}  // namespace

CTJsonObject::CTJsonObject(bool value) : m_node(value ? cJSON_CreateTrue() : cJSON_CreateFalse()) {}

CTJsonObject::CTJsonObject(int value) : m_node(cJSON_CreateNumber(value)) {}

CTJsonObject::CTJsonObject(double value) : m_node(cJSON_CreateNumber(value)) {}

CTJsonObject::CTJsonObject(const char* value)
    : m_node(value ? cJSON_CreateString(value) : nullptr) {}

bool CTJsonObject::Create() {
    Release();
    m_node = cJSON_CreateObject();
    return m_node != nullptr;
}

bool CTJsonObject::Attach(cJSON* node) {
    m_node = node;
    return true;
}

CTJsonObject& CTJsonObject::operator=(cJSON* node) {
    m_node = node;
    return *this;
}

CTJsonObject& CTJsonObject::operator=(const CTJsonObject* other) {
    if (other) m_node = other->m_node;
    return *this;
}

CTJsonObject& CTJsonObject::operator=(const CTJsonObject& other) {
    if (&other != this) m_node = other.m_node;
    return *this;
}

void CTJsonObject::Release() {
    Free(m_text);
    m_text = nullptr;
}

void CTJsonObject::Free() {
    Release();
    cJSON_Delete(m_node);
    m_node = nullptr;
}

void CTJsonObject::Free(void* memory) {
    if (memory) cJSON_free(memory);
}

void* CTJsonObject::Malloc(size_t size) {
    return size > 0 ? cJSON_malloc(size) : nullptr;
}

cJSON* CTJsonObject::GetItem(const char* key) const {
    return key ? cJSON_GetObjectItem(m_node, key) : nullptr;
}

cJSON* CTJsonObject::GetItemCaseSensitive(const char* key) const {
    return key ? cJSON_GetObjectItemCaseSensitive(m_node, key) : nullptr;
}

bool CTJsonObject::HasItem(const char* key) const {
    return key && cJSON_HasObjectItem(m_node, key) != 0;
}

bool CTJsonObject::AddItem(const char* key, cJSON* item) {
    return key && item && cJSON_AddItemToObject(m_node, key, item) != 0;
}

void CTJsonObject::DeleteItem(const char* key) {
    if (key) cJSON_DeleteItemFromObject(m_node, key);
}

void CTJsonObject::DeleteItemCaseSensitive(const char* key) {
    if (key) cJSON_DeleteItemFromObjectCaseSensitive(m_node, key);
}

cJSON* CTJsonObject::AddNull(const char* key) {
    return key ? cJSON_AddNullToObject(m_node, key) : nullptr;
}

cJSON* CTJsonObject::AddTrue(const char* key) {
    return key ? cJSON_AddTrueToObject(m_node, key) : nullptr;
}

cJSON* CTJsonObject::AddFalse(const char* key) {
    return key ? cJSON_AddFalseToObject(m_node, key) : nullptr;
}

cJSON* CTJsonObject::AddBool(const char* key, int value) {
    return key ? cJSON_AddBoolToObject(m_node, key, value) : nullptr;
}

cJSON* CTJsonObject::AddDouble(const char* key, double value) {
    return key ? cJSON_AddNumberToObject(m_node, key, value) : nullptr;
}

cJSON* CTJsonObject::AddString(const char* key, const char* value) {
    return key && value ? cJSON_AddStringToObject(m_node, key, value) : nullptr;
}

cJSON* CTJsonObject::AddRaw(const char* key, const char* json) {
    return key && json ? cJSON_AddRawToObject(m_node, key, json) : nullptr;
}

cJSON* CTJsonObject::AddObject(const char* key) {
    return key ? cJSON_AddObjectToObject(m_node, key) : nullptr;
}

cJSON* CTJsonObject::AddArray(const char* key) {
    return key ? cJSON_AddArrayToObject(m_node, key) : nullptr;
}

bool CTJsonObject::GetItemValue(const char* key, int& value) const {
    return Take(GetItem(key), &CTJsonObject::GetInt, value);
}

bool CTJsonObject::GetItemValue(const char* key, char** value) const {
    return value && Take(GetItem(key), &CTJsonObject::GetString, *value);
}

bool CTJsonObject::GetItemValue(const char* key, double& value) const {
    return Take(GetItem(key), &CTJsonObject::GetDouble, value);
}

bool CTJsonObject::GetItemValue(const char* key, bool& value) const {
    return Take(GetItem(key), &CTJsonObject::GetBool, value);
}

bool CTJsonObject::SetItemValue(const char* key, int value) {
    return Apply(GetItem(key), &CTJsonObject::SetInt, value);
}

bool CTJsonObject::SetItemValue(const char* key, const char* value) {
    return Apply(GetItem(key), &CTJsonObject::SetString, value);
}

bool CTJsonObject::SetItemValue(const char* key, double value) {
    return Apply(GetItem(key), &CTJsonObject::SetDouble, value);
}

bool CTJsonObject::SetItemValue(const char* key, bool value) {
    return Apply(GetItem(key), &CTJsonObject::SetBool, value);
}

int CTJsonObject::GetInt() const {
    return m_node ? TruncateToInt(GetDouble()) : 0;
}

char* CTJsonObject::GetString() const {
    return m_node ? cJSON_GetStringValue(m_node) : nullptr;
}

double CTJsonObject::GetDouble() const {
    return m_node ? cJSON_GetNumberValue(m_node) : 0;
}

bool CTJsonObject::GetBool() const {
    return m_node && cJSON_IsTrue(m_node) != 0;
}

void CTJsonObject::SetInt(int value) {
    if (!m_node) return;
    m_node->valuedouble = value;
    m_node->valueint = value;
}

char* CTJsonObject::SetString(const char* value) {
    // Not every version of the library minds a missing text.
    if (!value || !GetString()) return nullptr;
    return cJSON_SetValuestring(m_node, value);
}

void CTJsonObject::SetDouble(double value) {
    if (m_node) cJSON_SetNumberHelper(m_node, value);
}

void CTJsonObject::SetBool(bool value) {
    if (!m_node || (m_node->type & kBoolTypes) == 0) return;
    m_node->type = (m_node->type & ~kBoolTypes) | (value ? cJSON_True : cJSON_False);
}

bool CTJsonObject::Parse(const char* text) {
    if (!text) return false;
    m_node = cJSON_Parse(text);
    return m_node != nullptr;
}

char* CTJsonObject::Print() {
    Release();
    if (m_node) m_text = cJSON_Print(m_node);
    return m_text;
}

int CTJsonObject::ReadFile(const char* path, char* buf, int size) {
    if (!path || !buf || size < 1) return 0;
    buf[0] = '\0';
    CTTxtFile file;
    if (!file.Open(path, "r")) return 0;
    int total = 0;
    char piece[kPieceSize];
    // A piece that starts with a zero byte adds nothing, hence the bound: a device full of zeros
    // would be read for ever. No text that fits has as many pieces as buf has places.
    for (int i = 0; i < size && file.Gets(piece, kPieceSize); ++i) {
        int length = static_cast<int>(strlen(piece));
        if (length >= size - total) break;
        memcpy(buf + total, piece, static_cast<size_t>(length) + 1);
        total += length;
    }
    return total;
}

cJSON* CTJsonObject::ReadFile(const char* path) {
    if (!path) return nullptr;
    int length = CTFileOp::FileLength(path);
    // The length is what the file says of itself, cut to 32 bits: it may be negative, huge, or
    // wrong by the time the file is read. Reading is bounded by the buffer, whatever is true.
    if (length < 0 || length > kMaxFileSize) return nullptr;
    int size = length == 0 ? kUnknownFileSize : length + kFileSlack;
    std::unique_ptr<char[]> buf(new (std::nothrow) char[static_cast<size_t>(size)]);
    if (!buf) return nullptr;
    ReadFile(path, buf.get(), size);
    // The parser itself refuses deep nesting before it could exhaust the stack.
    return cJSON_Parse(buf.get());
}

int CTJsonObject::WriteFile(const char* path, const char* text) {
    if (!path || !text) return 0;
    size_t length = strlen(text);
    if (length > INT_MAX || pvu_replace_file(path, text, length) == 0) return 0;
    return static_cast<int>(length);
}

int CTJsonObject::WriteFile(const char* path, cJSON* tree) {
    CTJsonObject printer;
    printer = tree;
    return WriteFile(path, printer.Print());
}

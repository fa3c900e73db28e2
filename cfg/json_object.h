#pragma once

#include <cjson/cJSON.h>

#include <cstddef>

// A thin, null-safe handle over one node of a cJSON tree. Any number of handles may stand on one
// tree; none of them owns it: destroying a handle leaves the tree, and whoever made the tree (by
// Create, Parse, ReadFile or a constructor with a value) deletes it once, with Free(). The handle
// owns only the text of its last Print().
//
// Null keys, texts and nodes are accepted everywhere and answered with false, zero or null. One
// thread at a time for a tree and all its handles.
class CTJsonObject {
  public:
    // A configuration file beyond this size is refused.
    static constexpr int kMaxFileSize = 1024 * 1024;

    CTJsonObject() = default;
    // A handle on a new node of that value.
    explicit CTJsonObject(bool value);
    explicit CTJsonObject(int value);
    explicit CTJsonObject(double value);
    explicit CTJsonObject(const char* value);
    // Any other pointer would silently become true or false; a node is taken by Attach.
    explicit CTJsonObject(const void*) = delete;
    CTJsonObject(const CTJsonObject&) = delete;
    ~CTJsonObject() { Release(); }

    // ---- The handle and its tree ----

    // A handle on a new empty object; whether there was memory for it.
    bool Create();
    // True in every case.
    bool Attach(cJSON* node);
    // Copy the node pointer only; the printed text of this handle stays. A null object changes
    // nothing.
    CTJsonObject& operator=(cJSON* node);
    CTJsonObject& operator=(const CTJsonObject* other);
    CTJsonObject& operator=(const CTJsonObject& other);

    cJSON* GetHandle() const { return m_node; }
    bool IsEmpty() const { return !m_node; }

    // Frees the printed text.
    void Release();
    // Frees the printed text and deletes the node with everything below it. Precondition: the
    // node is a root; other handles on the tree are not used afterwards.
    void Free();
    static void Free(CTJsonObject& object) { object.Free(); }
    // cJSON's own memory, for texts that cJSON allocated.
    static void Free(void* memory);
    static void* Malloc(size_t size);

    static const char* GetVersion() { return cJSON_Version(); }

    // ---- Members of this node: by key ----

    // The member, null when absent. Only the second form minds letter case.
    cJSON* GetItem(const char* key) const;
    cJSON* GetItemCaseSensitive(const char* key) const;
    bool HasItem(const char* key) const;
    // The tree takes the item over; on false it stays the caller's.
    bool AddItem(const char* key, cJSON* item);
    bool AddItem(const char* key, CTJsonObject& item) { return AddItem(key, item.m_node); }
    void DeleteItem(const char* key);
    void DeleteItemCaseSensitive(const char* key);
    // Append a member, also beside one of the same key; the new node, owned by the tree, or null.
    cJSON* AddNull(const char* key);
    cJSON* AddTrue(const char* key);
    cJSON* AddFalse(const char* key);
    cJSON* AddBool(const char* key, int value);
    cJSON* AddInt(const char* key, int value) { return AddDouble(key, value); }
    cJSON* AddDouble(const char* key, double value);
    cJSON* AddString(const char* key, const char* value);
    // The text goes into a print-out as it is.
    cJSON* AddRaw(const char* key, const char* json);
    cJSON* AddObject(const char* key);
    cJSON* AddArray(const char* key);

    // Store a member's value as GetInt() and its siblings give it; false, with the output left
    // alone, when the member is absent. A text belongs to the tree, and is null for a member that
    // is not a string.
    bool GetItemValue(const char* key, int& value) const;
    bool GetItemValue(const char* key, char** value) const;
    bool GetItemValue(const char* key, double& value) const;
    bool GetItemValue(const char* key, bool& value) const;
    // Apply SetInt() and its siblings to a member; false when it is absent.
    bool SetItemValue(const char* key, int value);
    bool SetItemValue(const char* key, const char* value);
    bool SetItemValue(const char* key, double value);
    bool SetItemValue(const char* key, bool value);

    // ---- The value of this node ----

    // The number truncated toward zero; beyond 32 bits the low 32 bits of what fits 64 bits,
    // INT_MIN for anything larger and for a node that is not a number. 0 without a node.
    int GetInt() const;
    // Owned by the tree; null for a node that is not a string.
    char* GetString() const;
    // Not-a-number for a node that is not a number, 0 without a node.
    double GetDouble() const;
    // True for the literal true only.
    bool GetBool() const;
    // Writes both number fields of the node, whatever its type.
    void SetInt(int value);
    // The node's text, null when the node is not a string.
    char* SetString(const char* value);
    void SetDouble(double value);
    // Changes a true or false only.
    void SetBool(bool value);

    // ---- Text and files ----

    // Whether the text is JSON; the node is null if not. A previous node is not freed.
    bool Parse(const char* text);
    // Formatted text, null without a node. Owned by this handle, until the next Print, Release,
    // Free or its end.
    char* Print();

    // Reads a text file into buf and terminates it: as many pieces (lines, cut into pieces of 255
    // characters) as stay below size. A zero byte ends the piece it stands in. The number of
    // characters stored.
    static int ReadFile(const char* path, char* buf, int size);
    // The tree of a JSON file, for the caller to free, or null. Prints the file's size or the
    // failure to read it to standard output.
    static cJSON* ReadFile(const char* path);
    // Replaces the file as a whole, readable and writable by its owner only whatever the umask
    // (see pvu_replace_file). The text's length, 0 on failure.
    static int WriteFile(const char* path, const char* text);
    static int WriteFile(const char* path, cJSON* tree);

  private:
    char* m_text = nullptr;
    cJSON* m_node = nullptr;
};

// A small writer of JSON documents for tavio's machine-readable output:
// objects, arrays, strings, integers and booleans, indented two spaces per
// level. Strings are escaped so that any bytes (file names are bytes on
// POSIX) make valid JSON: invalid UTF-8 becomes U+FFFD.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class JsonWriter {
public:
    JsonWriter& beginObject() { return open('{'); }
    JsonWriter& endObject() { return close('}'); }
    JsonWriter& beginArray() { return open('['); }
    JsonWriter& endArray() { return close(']'); }
    // The name of the next member of the open object.
    JsonWriter& key(std::string_view name);
    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    JsonWriter& value(const std::string& text) { return value(std::string_view(text)); }
    JsonWriter& value(int64_t number);
    JsonWriter& value(bool flag);
    JsonWriter& null();
    // Integers of any width, so that no call is ambiguous.
    template <std::integral Integer>
    JsonWriter& value(Integer number)
    {
        return value(int64_t(number));
    }
    // A member of the open object: its name and value.
    template <class Value>
    JsonWriter& member(std::string_view name, const Value& v)
    {
        return key(name).value(v);
    }
    // The document so far, ending with a newline once it is complete.
    const std::string& text() const { return out_; }

private:
    JsonWriter& open(char bracket);
    JsonWriter& close(char bracket);
    // The separator and indentation before a value or key.
    void beforeItem();
    void newline();
    void putString(std::string_view text);

    std::string out_;
    std::vector<bool> hasItems_;  // one per open object or array
    bool afterKey_ = false;
};

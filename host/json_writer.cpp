#include "host/json_writer.h"

#include <cstdio>

namespace {

// The length of the well-formed UTF-8 sequence at `at`, or 0.
size_t utf8Length(std::string_view text, size_t at)
{
    auto byte = [&](size_t i) { return i < text.size() ? uint8_t(text[i]) : 0; };
    auto continuation = [&](size_t i) { return (byte(i) & 0xC0) == 0x80; };
    uint8_t lead = byte(at);
    if (lead >= 0xC2 && lead <= 0xDF)
        return continuation(at + 1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        // No overlong forms, no surrogates.
        uint8_t second = byte(at + 1);
        bool ok = lead == 0xE0 ? second >= 0xA0 : lead == 0xED ? second < 0xA0 : true;
        return ok && continuation(at + 1) && continuation(at + 2) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        uint8_t second = byte(at + 1);
        bool ok = lead == 0xF0 ? second >= 0x90 : lead == 0xF4 ? second < 0x90 : true;
        return ok && continuation(at + 1) && continuation(at + 2) && continuation(at + 3) ? 4 : 0;
    }
    return 0;
}

}  // namespace

JsonWriter& JsonWriter::key(std::string_view name)
{
    beforeItem();
    putString(name);
    out_ += ": ";
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text)
{
    beforeItem();
    putString(text);
    return *this;
}

JsonWriter& JsonWriter::value(int64_t number)
{
    beforeItem();
    out_ += std::to_string(number);
    return *this;
}

JsonWriter& JsonWriter::value(bool flag)
{
    beforeItem();
    out_ += flag ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::null()
{
    beforeItem();
    out_ += "null";
    return *this;
}

JsonWriter& JsonWriter::open(char bracket)
{
    beforeItem();
    out_ += bracket;
    hasItems_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::close(char bracket)
{
    bool hadItems = hasItems_.back();
    hasItems_.pop_back();
    if (hadItems)
        newline();
    out_ += bracket;
    if (hasItems_.empty())
        out_ += '\n';
    return *this;
}

void JsonWriter::beforeItem()
{
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (hasItems_.empty())
        return;
    if (hasItems_.back())
        out_ += ',';
    hasItems_.back() = true;
    newline();
}

void JsonWriter::newline()
{
    out_ += '\n';
    out_.append(2 * hasItems_.size(), ' ');
}

void JsonWriter::putString(std::string_view text)
{
    out_ += '"';
    for (size_t i = 0; i < text.size();) {
        auto c = uint8_t(text[i]);
        if (c >= 0x80) {
            size_t length = utf8Length(text, i);
            out_ += length ? text.substr(i, length) : "\\ufffd";
            i += length ? length : 1;
            continue;
        }
        ++i;
        switch (c) {
            case '"':
                out_ += "\\\"";
                break;
            case '\\':
                out_ += "\\\\";
                break;
            case '\n':
                out_ += "\\n";
                break;
            case '\r':
                out_ += "\\r";
                break;
            case '\t':
                out_ += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                    out_ += escaped;
                } else {
                    out_ += char(c);
                }
        }
    }
    out_ += '"';
}

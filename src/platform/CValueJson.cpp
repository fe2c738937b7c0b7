// SPDX-License-Identifier: MIT
#include "platform/CValueJson.h"

#include "platform/CValueMap.h"
#include "platform/CValueVector.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <system_error>

namespace KYVO {

namespace {

// ---- writing ----

class Writer {
public:
    explicit Writer(std::vector<std::string>* skipped) : m_skipped(skipped) {}

    std::string take() { return std::move(m_out); }

    // Answers false (writing nothing) for a value without a text form.
    bool write(const CValue& value, const std::string& path, int depth) {
        if (const auto* s = dynamic_cast<const CValueString*>(&value))
            writeString(s->Get());
        else if (const auto* l = dynamic_cast<const CValueLong*>(&value))
            m_out += std::to_string(l->Get());
        else if (const auto* d = dynamic_cast<const CValueDouble*>(&value))
            writeDouble(d->Get());
        else if (const auto* b = dynamic_cast<const CValueBool*>(&value))
            m_out += b->Get() ? "true" : "false";
        else if (const auto* v = dynamic_cast<const CValueVector*>(&value))
            writeVector(*v, path, depth);
        else if (const auto* m = dynamic_cast<const CValueMap*>(&value))
            writeMap(*m, path, depth);
        else {
            if (m_skipped)
                m_skipped->push_back(path);
            return false;
        }
        return true;
    }

private:
    static bool writable(const CValue* value) {
        return dynamic_cast<const CValueString*>(value) || dynamic_cast<const CValueLong*>(value) ||
               dynamic_cast<const CValueDouble*>(value) || dynamic_cast<const CValueBool*>(value) ||
               dynamic_cast<const CValueVector*>(value) || dynamic_cast<const CValueMap*>(value);
    }

    static std::string join(const std::string& path, const std::string& part) {
        return path.empty() ? part : path + "/" + part;
    }

    void newline(int depth) {
        m_out += '\n';
        m_out.append(std::size_t(depth) * 2, ' ');
    }

    void writeVector(const CValueVector& vector, const std::string& path, int depth) {
        m_out += '[';
        bool first = true;
        for (std::size_t i = 0; i < vector.size(); ++i) {
            const CValue* item = vector.at(i);
            if (!writable(item)) {
                if (m_skipped)
                    m_skipped->push_back(join(path, std::to_string(i)));
                continue;
            }
            m_out += first ? "" : ",";
            first = false;
            newline(depth + 1);
            write(*item, join(path, std::to_string(i)), depth + 1);
        }
        if (!first)
            newline(depth);
        m_out += ']';
    }

    void writeMap(const CValueMap& map, const std::string& path, int depth) {
        m_out += '{';
        bool first = true;
        for (const std::string& key : map.Keys()) {
            const CValue* item = map.Get(key);
            if (!writable(item)) {
                if (m_skipped)
                    m_skipped->push_back(join(path, key));
                continue;
            }
            m_out += first ? "" : ",";
            first = false;
            newline(depth + 1);
            writeString(key);
            m_out += ": ";
            write(*item, join(path, key), depth + 1);
        }
        if (!first)
            newline(depth);
        m_out += '}';
    }

    void writeString(const std::string& s) {
        static const char hex[] = "0123456789abcdef";
        m_out += '"';
        for (const char c : s) {
            switch (c) {
            case '"':
                m_out += "\\\"";
                break;
            case '\\':
                m_out += "\\\\";
                break;
            case '\n':
                m_out += "\\n";
                break;
            case '\r':
                m_out += "\\r";
                break;
            case '\t':
                m_out += "\\t";
                break;
            case '\b':
                m_out += "\\b";
                break;
            case '\f':
                m_out += "\\f";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    m_out += "\\u00";
                    m_out += hex[(c >> 4) & 0xf];
                    m_out += hex[c & 0xf];
                } else {
                    m_out += c;
                }
            }
        }
        m_out += '"';
    }

    void writeDouble(double d) {
        if (std::isnan(d)) {
            m_out += "NaN";
            return;
        }
        if (std::isinf(d)) {
            m_out += d < 0 ? "-Infinity" : "Infinity";
            return;
        }
        char buffer[64];
        const auto result = std::to_chars(buffer, buffer + sizeof buffer, d);
        const std::string_view text(buffer, std::size_t(result.ptr - buffer));
        m_out += text;
        // A bare integer would read back as a long.
        if (text.find_first_of(".e") == std::string_view::npos)
            m_out += ".0";
    }

    std::vector<std::string>* m_skipped;
    std::string m_out;
};

// ---- reading ----

struct ParseError {
    std::string message;
    std::size_t offset;
};

class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    std::unique_ptr<CValue> document() {
        skipSpace();
        std::unique_ptr<CValue> value = parseValue(0);
        skipSpace();
        if (m_pos != m_text.size())
            fail("unexpected text after the end of the document");
        return value;
    }

    // "line 3, column 7" for a byte offset.
    std::string location(std::size_t offset) const {
        std::size_t line = 1, column = 1;
        for (std::size_t i = 0; i < offset && i < m_text.size(); ++i) {
            if (m_text[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
        return "line " + std::to_string(line) + ", column " + std::to_string(column);
    }

private:
    [[noreturn]] void fail(const std::string& message) const { throw ParseError{message, m_pos}; }

    bool atEnd() const { return m_pos >= m_text.size(); }
    char peek() const { return atEnd() ? '\0' : m_text[m_pos]; }

    void skipSpace() {
        while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r'))
            ++m_pos;
    }

    void expect(char c) {
        if (peek() != c || atEnd())
            fail(std::string("expected '") + c + "'");
        ++m_pos;
    }

    bool consumeWord(std::string_view word) {
        if (m_text.substr(m_pos, word.size()) != word)
            return false;
        m_pos += word.size();
        return true;
    }

    std::unique_ptr<CValue> parseValue(int depth) {
        if (atEnd())
            fail("unexpected end of the document");
        switch (peek()) {
        case '{':
            return parseObject(depth + 1);
        case '[':
            return parseArray(depth + 1);
        case '"':
            return std::make_unique<CValueString>(parseString());
        default:
            break;
        }
        if (consumeWord("true"))
            return std::make_unique<CValueBool>(true);
        if (consumeWord("false"))
            return std::make_unique<CValueBool>(false);
        if (consumeWord("NaN"))
            return std::make_unique<CValueDouble>(std::nan(""));
        if (consumeWord("Infinity"))
            return std::make_unique<CValueDouble>(HUGE_VAL);
        if (consumeWord("-Infinity"))
            return std::make_unique<CValueDouble>(-HUGE_VAL);
        if (m_text.substr(m_pos, 4) == "null")
            fail("null values are not supported");
        if (peek() == '-' || (peek() >= '0' && peek() <= '9'))
            return parseNumber();
        fail("unexpected character");
    }

    void enter(int depth) const {
        if (depth > CValueJson::MaxDepth)
            fail("nesting deeper than " + std::to_string(CValueJson::MaxDepth) + " levels");
    }

    std::unique_ptr<CValue> parseObject(int depth) {
        enter(depth);
        ++m_pos;
        auto map = std::make_unique<CValueMap>();
        skipSpace();
        if (peek() == '}') {
            ++m_pos;
            return map;
        }
        for (;;) {
            skipSpace();
            if (peek() != '"')
                fail("expected a key");
            const std::size_t keyPos = m_pos;
            std::string key = parseString();
            if (key.empty() || key.find('/') != std::string::npos) {
                m_pos = keyPos;
                fail("the key \"" + key + "\" is empty or contains '/'");
            }
            skipSpace();
            expect(':');
            skipSpace();
            map->Set(key, parseValue(depth).release());
            skipSpace();
            if (peek() == ',' && !atEnd()) {
                ++m_pos;
                continue;
            }
            expect('}');
            return map;
        }
    }

    std::unique_ptr<CValue> parseArray(int depth) {
        enter(depth);
        ++m_pos;
        auto vector = std::make_unique<CValueVector>();
        skipSpace();
        if (peek() == ']' && !atEnd()) {
            ++m_pos;
            return vector;
        }
        for (;;) {
            skipSpace();
            vector->Append(parseValue(depth).release());
            skipSpace();
            if (peek() == ',' && !atEnd()) {
                ++m_pos;
                continue;
            }
            expect(']');
            return vector;
        }
    }

    unsigned parseHex4() {
        if (m_text.size() - m_pos < 4)
            fail("truncated \\u escape");
        unsigned value = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = m_text[m_pos++];
            value <<= 4;
            if (c >= '0' && c <= '9')
                value |= unsigned(c - '0');
            else if (c >= 'a' && c <= 'f')
                value |= unsigned(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                value |= unsigned(c - 'A' + 10);
            else
                fail("invalid \\u escape");
        }
        return value;
    }

    static void appendUtf8(std::string& out, unsigned cp) {
        if (cp < 0x80) {
            out += char(cp);
        } else if (cp < 0x800) {
            out += char(0xc0 | (cp >> 6));
            out += char(0x80 | (cp & 0x3f));
        } else if (cp < 0x10000) {
            out += char(0xe0 | (cp >> 12));
            out += char(0x80 | ((cp >> 6) & 0x3f));
            out += char(0x80 | (cp & 0x3f));
        } else {
            out += char(0xf0 | (cp >> 18));
            out += char(0x80 | ((cp >> 12) & 0x3f));
            out += char(0x80 | ((cp >> 6) & 0x3f));
            out += char(0x80 | (cp & 0x3f));
        }
    }

    std::string parseString() {
        ++m_pos; // opening quote
        std::string out;
        for (;;) {
            if (atEnd())
                fail("unterminated string");
            const char c = m_text[m_pos++];
            if (c == '"')
                return out;
            if (static_cast<unsigned char>(c) < 0x20) {
                --m_pos;
                fail("control character in a string");
            }
            if (c != '\\') {
                out += c;
                continue;
            }
            if (atEnd())
                fail("unterminated string");
            const char e = m_text[m_pos++];
            switch (e) {
            case '"':
            case '\\':
            case '/':
                out += e;
                break;
            case 'b':
                out += '\b';
                break;
            case 'f':
                out += '\f';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            case 't':
                out += '\t';
                break;
            case 'u': {
                unsigned cp = parseHex4();
                if (cp >= 0xdc00 && cp <= 0xdfff)
                    fail("unpaired surrogate in \\u escape");
                if (cp >= 0xd800 && cp <= 0xdbff) {
                    if (!consumeWord("\\u"))
                        fail("unpaired surrogate in \\u escape");
                    const unsigned low = parseHex4();
                    if (low < 0xdc00 || low > 0xdfff)
                        fail("unpaired surrogate in \\u escape");
                    cp = 0x10000 + ((cp - 0xd800) << 10) + (low - 0xdc00);
                }
                appendUtf8(out, cp);
                break;
            }
            default:
                --m_pos;
                fail("invalid escape sequence");
            }
        }
    }

    std::unique_ptr<CValue> parseNumber() {
        const std::size_t start = m_pos;
        auto digits = [this] {
            const std::size_t from = m_pos;
            while (!atEnd() && peek() >= '0' && peek() <= '9')
                ++m_pos;
            return m_pos - from;
        };
        if (peek() == '-')
            ++m_pos;
        const bool leadingZero = peek() == '0';
        const std::size_t intDigits = digits();
        if (intDigits == 0 || (leadingZero && intDigits > 1))
            fail("malformed number");
        bool integral = true;
        if (peek() == '.' && !atEnd()) {
            ++m_pos;
            integral = false;
            if (digits() == 0)
                fail("malformed number");
        }
        if ((peek() == 'e' || peek() == 'E') && !atEnd()) {
            ++m_pos;
            integral = false;
            if (peek() == '+' || peek() == '-')
                ++m_pos;
            if (digits() == 0)
                fail("malformed number");
        }
        const char* first = m_text.data() + start;
        const char* last = m_text.data() + m_pos;
        if (integral) {
            int64_t value = 0;
            const auto result = std::from_chars(first, last, value);
            if (result.ec == std::errc() && result.ptr == last)
                return std::make_unique<CValueLong>(value);
            // An integer beyond 64 bits is kept as the nearest double rather than refused.
        }
        double value = 0;
        const auto result = std::from_chars(first, last, value);
        if (result.ec != std::errc() || result.ptr != last) {
            m_pos = start;
            fail("number out of range");
        }
        return std::make_unique<CValueDouble>(value);
    }

    std::string_view m_text;
    std::size_t m_pos = 0;
};

} // namespace

std::string CValueJson::Write(const CValue& value, std::vector<std::string>* skipped) {
    Writer writer(skipped);
    writer.write(value, std::string(), 0);
    return writer.take();
}

std::unique_ptr<CValue> CValueJson::Read(std::string_view text, std::string* error) {
    Reader reader(text);
    try {
        return reader.document();
    } catch (const ParseError& e) {
        if (error)
            *error = e.message + " at " + reader.location(e.offset);
        return nullptr;
    }
}

} // namespace KYVO

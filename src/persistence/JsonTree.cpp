// SPDX-License-Identifier: MIT
#include "persistence/JsonTree.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace pxm {

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

/// The four hex digits after "\u"; -1 when they are not.
int hexQuad(const char* p) {
    int value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexValue(p[i]);
        if (digit < 0)
            return -1;
        value = value * 16 + digit;
    }
    return value;
}

/// Length of the valid UTF-8 sequence at p (at most end - p bytes), or 0 when it is invalid:
/// overlong, a surrogate, beyond U+10FFFF or cut short.
int utf8Length(const unsigned char* p, const unsigned char* end) {
    const unsigned char c = p[0];
    int length = 0;
    uint32_t code = 0;
    if (c >= 0xc2 && c <= 0xdf) {
        length = 2;
        code = c & 0x1f;
    } else if (c >= 0xe0 && c <= 0xef) {
        length = 3;
        code = c & 0x0f;
    } else if (c >= 0xf0 && c <= 0xf4) {
        length = 4;
        code = c & 0x07;
    } else {
        return 0;
    }
    if (end - p < length)
        return 0;
    for (int i = 1; i < length; ++i) {
        if ((p[i] & 0xc0) != 0x80)
            return 0;
        code = (code << 6) | (p[i] & 0x3f);
    }
    if ((length == 3 && (code < 0x800 || (code >= 0xd800 && code <= 0xdfff))) ||
        (length == 4 && (code < 0x10000 || code > 0x10ffff)))
        return 0;
    return length;
}

} // namespace

/// Recursive descent over the text; every failure returns false and leaves the tree unusable.
class JsonTree::Parser {
public:
    Parser(JsonTree& tree, const char* begin, const char* end)
        : m_tree(tree), m_begin(begin), m_p(begin), m_end(end) {}

    bool document() {
        // A byte order mark may lead, as QJsonDocument allows.
        if (m_end - m_p >= 3 && std::memcmp(m_p, "\xef\xbb\xbf", 3) == 0)
            m_p += 3;
        skipSpace();
        if (!value(0))
            return false;
        skipSpace();
        return m_p == m_end;
    }

    /// Where parsing stopped: after a failure, the first character that could not be taken.
    std::size_t position() const { return std::size_t(m_p - m_begin); }

private:
    void skipSpace() {
        // Indented files are mostly runs of spaces: skip them eight at a time.
        while (m_end - m_p >= 8 && std::memcmp(m_p, "        ", 8) == 0)
            m_p += 8;
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
    }

    uint32_t addNode(Type type) {
        Node node{};
        node.type = type;
        m_tree.m_nodes.push_back(node);
        return uint32_t(m_tree.m_nodes.size() - 1);
    }

    bool literal(const char* word, Type type) {
        const std::size_t length = std::strlen(word);
        if (std::size_t(m_end - m_p) < length || std::memcmp(m_p, word, length) != 0)
            return false;
        m_p += length;
        addNode(type);
        return true;
    }

    bool value(int depth) {
        if (m_p >= m_end)
            return false;
        switch (*m_p) {
        case '{':
            return object(depth + 1);
        case '[':
            return array(depth + 1);
        case '"': {
            uint32_t offset = 0, size = 0;
            bool escaped = false;
            if (!string(&offset, &size, &escaped))
                return false;
            Node& node = m_tree.m_nodes[addNode(Type::String)];
            node.offset = offset;
            node.size = size;
            node.escaped = escaped;
            return true;
        }
        case 't':
            return literal("true", Type::True);
        case 'f':
            return literal("false", Type::False);
        case 'n':
            return literal("null", Type::Null);
        default:
            return number();
        }
    }

    /// QJsonDocument's number form: an optional minus, digits with at most one leading zero,
    /// a fraction and an exponent, where "1." and ".5" pass as they do in Qt.
    bool number() {
        const char* start = m_p;
        if (m_p < m_end && *m_p == '-')
            ++m_p;
        if (m_p < m_end && *m_p == '0')
            ++m_p;
        else
            digits();
        if (m_p < m_end && *m_p == '.') {
            ++m_p;
            digits();
        }
        if (m_p < m_end && (*m_p == 'e' || *m_p == 'E')) {
            ++m_p;
            if (m_p < m_end && (*m_p == '+' || *m_p == '-'))
                ++m_p;
            digits();
        }
        double number = 0;
        const auto result = std::from_chars(start, m_p, number);
        // Out of range ("1e999", "1e-400") is refused, as QJsonDocument refuses it.
        if (m_p == start || result.ec != std::errc() || result.ptr != m_p)
            return false;
        m_tree.m_nodes[addNode(Type::Number)].number = number;
        return true;
    }

    void digits() {
        while (m_p < m_end && *m_p >= '0' && *m_p <= '9')
            ++m_p;
    }

    /// The string at m_p: its content's place and size, and whether it holds escapes.
    bool string(uint32_t* offset, uint32_t* size, bool* escaped) {
        ++m_p;
        const char* start = m_p;
        *escaped = false;
        for (;;) {
            // Plain ASCII runs are the common case. Control characters pass, as in Qt.
            while (m_p < m_end && *m_p != '"' && *m_p != '\\' && static_cast<unsigned char>(*m_p) < 0x80)
                ++m_p;
            if (m_p >= m_end)
                return false;
            const unsigned char c = static_cast<unsigned char>(*m_p);
            if (c == '"')
                break;
            if (c == '\\') {
                *escaped = true;
                if (!escape())
                    return false;
                continue;
            }
            const int length = utf8Length(reinterpret_cast<const unsigned char*>(m_p),
                                          reinterpret_cast<const unsigned char*>(m_end));
            if (length == 0)
                return false;
            m_p += length;
        }
        *offset = uint32_t(start - m_begin);
        *size = uint32_t(m_p - start);
        ++m_p;
        return true;
    }

    /// Like QJsonDocument: a backslash-u escape needs four hex digits; any other escaped character stands
    /// for itself, and surrogate halves need no partner.
    bool escape() {
        if (m_end - m_p < 2)
            return false;
        if (m_p[1] != 'u') {
            m_p += 2;
            return true;
        }
        if (m_end - m_p < 6 || hexQuad(m_p + 2) < 0)
            return false;
        m_p += 6;
        return true;
    }

    bool array(int depth) {
        if (depth > MaxDepth)
            return false;
        const uint32_t index = addNode(Type::Array);
        const std::size_t mark = m_stack.size();
        ++m_p;
        skipSpace();
        if (m_p < m_end && *m_p == ']') {
            ++m_p;
        } else {
            for (;;) {
                m_stack.push_back(uint32_t(m_tree.m_nodes.size()));
                if (!value(depth))
                    return false;
                skipSpace();
                if (m_p >= m_end)
                    return false;
                if (*m_p == ']') {
                    ++m_p;
                    break;
                }
                if (*m_p != ',')
                    return false;
                ++m_p;
                skipSpace();
            }
        }
        Node& node = m_tree.m_nodes[index];
        node.offset = m_tree.m_elements.size();
        node.size = uint32_t(m_stack.size() - mark);
        m_tree.m_elements.insert(m_tree.m_elements.end(), m_stack.begin() + std::ptrdiff_t(mark),
                                 m_stack.end());
        m_stack.resize(mark);
        return true;
    }

    bool object(int depth) {
        if (depth > MaxDepth)
            return false;
        const uint32_t index = addNode(Type::Object);
        const std::size_t mark = m_memberStack.size();
        ++m_p;
        skipSpace();
        if (m_p < m_end && *m_p == '}') {
            ++m_p;
        } else {
            for (;;) {
                Member member{};
                if (m_p >= m_end || *m_p != '"' ||
                    !string(&member.keyOffset, &member.keySize, &member.keyEscaped))
                    return false;
                skipSpace();
                if (m_p >= m_end || *m_p != ':')
                    return false;
                ++m_p;
                skipSpace();
                member.value = uint32_t(m_tree.m_nodes.size());
                if (!value(depth))
                    return false;
                m_memberStack.push_back(member);
                skipSpace();
                if (m_p >= m_end)
                    return false;
                if (*m_p == '}') {
                    ++m_p;
                    break;
                }
                if (*m_p != ',')
                    return false;
                ++m_p;
                skipSpace();
            }
        }
        Node& node = m_tree.m_nodes[index];
        node.offset = m_tree.m_members.size();
        node.size = uint32_t(m_memberStack.size() - mark);
        m_tree.m_members.insert(m_tree.m_members.end(), m_memberStack.begin() + std::ptrdiff_t(mark),
                                m_memberStack.end());
        m_memberStack.resize(mark);
        return true;
    }

    JsonTree& m_tree;
    const char* m_begin;
    const char* m_p;
    const char* m_end;
    // Children gather here until their container ends, then move to the tables in one piece.
    std::vector<uint32_t> m_stack;
    std::vector<Member> m_memberStack;
};

bool JsonTree::parse(const QByteArray& text) {
    m_text = text;
    m_errorLine = -1;
    m_nodes.clear();
    m_elements.clear();
    m_members.clear();
    // Offsets are 32-bit; the project reader never hands over more than 1 GiB.
    if (quint64(text.size()) >= std::numeric_limits<uint32_t>::max()) {
        m_errorLine = 0;
        return false;
    }
    m_nodes.reserve(std::size_t(text.size()) / 24 + 16);
    Parser parser(*this, m_text.constData(), m_text.constData() + m_text.size());
    if (parser.document())
        return true;
    const std::size_t stop = std::min(parser.position(), std::size_t(m_text.size()));
    m_errorLine = int(std::count(m_text.constBegin(), m_text.constBegin() + stop, '\n'));
    m_text.clear();
    m_nodes = std::vector<Node>();
    m_elements = std::vector<uint32_t>();
    m_members = std::vector<Member>();
    return false;
}

JsonTree::Value JsonTree::root() const {
    return m_nodes.empty() ? Value() : Value(this, 0);
}

QString JsonTree::decode(const char* text, uint32_t size, bool escaped) {
    if (!escaped)
        return QString::fromUtf8(text, int(size));
    QString result;
    result.reserve(int(size));
    const char* p = text;
    const char* end = text + size;
    while (p < end) {
        const char* plain = p;
        while (p < end && *p != '\\')
            ++p;
        result += QString::fromUtf8(plain, int(p - plain));
        if (p >= end)
            break;
        // The parser checked every escape.
        const char c = p[1];
        p += 2;
        switch (c) {
        case 'b':
            result += QChar('\b');
            break;
        case 'f':
            result += QChar('\f');
            break;
        case 'n':
            result += QChar('\n');
            break;
        case 'r':
            result += QChar('\r');
            break;
        case 't':
            result += QChar('\t');
            break;
        case 'u':
            result += QChar(ushort(hexQuad(p)));
            p += 4;
            break;
        default:
            result += QChar(c);
            break;
        }
    }
    return result;
}

double JsonTree::Value::toNumber() const {
    return isNumber() ? m_tree->m_nodes[m_index].number : 0.0;
}

QString JsonTree::Value::toString() const {
    if (!isString())
        return QString();
    const Node& node = m_tree->m_nodes[m_index];
    return decode(m_tree->m_text.constData() + node.offset, node.size, node.escaped);
}

bool JsonTree::Value::equals(const char* ascii) const {
    if (!isString())
        return false;
    const Node& node = m_tree->m_nodes[m_index];
    if (node.escaped)
        return toString() == QLatin1String(ascii);
    return std::strlen(ascii) == node.size &&
           std::memcmp(m_tree->m_text.constData() + node.offset, ascii, node.size) == 0;
}

int JsonTree::Value::size() const {
    return isArray() || isObject() ? int(m_tree->m_nodes[m_index].size) : 0;
}

JsonTree::Value JsonTree::Value::at(int i) const {
    if (!isArray() || i < 0 || uint32_t(i) >= m_tree->m_nodes[m_index].size)
        return Value();
    return Value(m_tree, m_tree->m_elements[m_tree->m_nodes[m_index].offset + uint32_t(i)]);
}

JsonTree::Value JsonTree::Value::member(const char* name) const {
    if (!isObject())
        return Value();
    const Node& node = m_tree->m_nodes[m_index];
    const std::size_t length = std::strlen(name);
    // From the last member back: of repeated names the last one counts.
    for (uint32_t i = node.size; i-- > 0;) {
        const Member& member = m_tree->m_members[node.offset + i];
        const char* key = m_tree->m_text.constData() + member.keyOffset;
        const bool same = member.keyEscaped ? decode(key, member.keySize, true) == QLatin1String(name)
                                            : member.keySize == length && std::memcmp(key, name, length) == 0;
        if (same)
            return Value(m_tree, member.value);
    }
    return Value();
}

QJsonValue JsonTree::Value::toQJsonValue() const {
    switch (type()) {
    case Type::Null:
        return QJsonValue(QJsonValue::Null);
    case Type::False:
        return false;
    case Type::True:
        return true;
    case Type::Number:
        return toNumber();
    case Type::String:
        return toString();
    case Type::Array: {
        QJsonArray array;
        for (int i = 0; i < size(); ++i)
            array.append(at(i).toQJsonValue());
        return array;
    }
    case Type::Object: {
        QJsonObject object;
        const Node& node = m_tree->m_nodes[m_index];
        for (uint32_t i = 0; i < node.size; ++i) {
            const Member& member = m_tree->m_members[node.offset + i];
            object.insert(
                decode(m_tree->m_text.constData() + member.keyOffset, member.keySize, member.keyEscaped),
                Value(m_tree, member.value).toQJsonValue());
        }
        return object;
    }
    case Type::Undefined:
        break;
    }
    return QJsonValue(QJsonValue::Undefined);
}

} // namespace pxm

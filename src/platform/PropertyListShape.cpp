#include "PropertyListShape.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace PropertyListShape {

namespace {

using u64 = std::uint64_t;

// ---- Binary lists ----------------------------------------------------------------

constexpr u64 kHeaderBytes = 8; // "bplist00"
constexpr u64 kTrailerBytes = 32;

// libplist copies a shared object at every reference to it. Written out without
// sharing, a list holds at most one value per byte of references, so that is what
// a list may unfold into, plus this much for the few containers a writer might
// legitimately share; more is a small file asking for an enormous tree.
constexpr u64 kSharedValueAllowance = u64(1) << 16;

u64 bigEndian(const unsigned char *bytes, unsigned width)
{
    u64 value = 0;
    for (unsigned i = 0; i < width; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

u64 saturatingAdd(u64 a, u64 b)
{
    return a > std::numeric_limits<u64>::max() - b ? std::numeric_limits<u64>::max() : a + b;
}

class BinaryList
{
public:
    BinaryList(const unsigned char *data, u64 size) : m_data(data), m_size(size) {}

    bool isWithinBounds(int maxDepth);

private:
    // What the walk needs of an object: a container's references, or a UTF-16
    // string's code units (`start` and `count` say where either lie).
    struct Object
    {
        enum Kind
        {
            Value,
            Container,
            Utf16String
        } kind = Value;
        u64 start = 0;
        u64 count = 0;
    };
    // A container being walked: its references, the next one to follow, and what
    // its subtree has come to so far.
    struct Frame
    {
        u64 index;
        u64 refsStart;
        u64 refCount;
        u64 next;
        u64 depth;
        u64 values;
    };
    // A container (or UTF-16 string) met before: still open (on the walk, so
    // meeting it again is a loop) or finished with its depth and unfolded size.
    struct Visit
    {
        bool open;
        u64 depth;
        u64 values;
    };

    bool readTrailer();
    std::optional<Object> object(u64 index) const;
    bool holdsNul(const Object &text) const;
    bool absorb(std::size_t framePosition, u64 childDepth, u64 childValues);

    const unsigned char *m_data;
    u64 m_size;
    unsigned m_offsetSize = 0;
    unsigned m_refSize = 0;
    u64 m_objectCount = 0;
    u64 m_top = 0;
    u64 m_tableOffset = 0;
    u64 m_maxDepth = 0;
    u64 m_valueBudget = 0;
    std::vector<Frame> m_stack;
};

bool BinaryList::readTrailer()
{
    if (m_size < kHeaderBytes + kTrailerBytes)
        return false;
    const unsigned char *trailer = m_data + m_size - kTrailerBytes;
    // Six unused bytes, the sizes of an offset and of a reference, then three
    // 64-bit numbers: objects, top object, where the offset table starts.
    m_offsetSize = trailer[6];
    m_refSize = trailer[7];
    m_objectCount = bigEndian(trailer + 8, 8);
    m_top = bigEndian(trailer + 16, 8);
    m_tableOffset = bigEndian(trailer + 24, 8);
    if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8)
        return false;
    if (m_objectCount == 0 || m_top >= m_objectCount)
        return false;
    const u64 tableEnd = m_size - kTrailerBytes;
    if (m_tableOffset < kHeaderBytes || m_tableOffset > tableEnd)
        return false;
    // The offset table, one entry per object, must fit before the trailer.
    return m_objectCount <= (tableEnd - m_tableOffset) / m_offsetSize;
}

std::optional<BinaryList::Object> BinaryList::object(u64 index) const
{
    if (index >= m_objectCount)
        return std::nullopt;
    const u64 offset = bigEndian(m_data + m_tableOffset + index * m_offsetSize, m_offsetSize);
    // Objects live between the header and the offset table, as libplist insists.
    if (offset < kHeaderBytes || offset >= m_tableOffset)
        return std::nullopt;
    const unsigned char marker = m_data[offset];
    const unsigned kind = marker >> 4;
    const bool isArrayOrSet = kind == 0xA || kind == 0xC;
    const bool isDict = kind == 0xD;
    const bool isUtf16 = kind == 0x6;
    if (!isArrayOrSet && !isDict && !isUtf16)
        return Object{};

    u64 count = marker & 0x0F;
    u64 position = offset + 1;
    if (count == 0x0F) {
        // The count follows as an integer object: marker 0x1n, then 2^n bytes.
        if (position >= m_tableOffset)
            return std::nullopt;
        const unsigned char countMarker = m_data[position];
        const unsigned widthPower = countMarker & 0x0F;
        if ((countMarker >> 4) != 0x1 || widthPower > 3)
            return std::nullopt;
        const u64 width = u64(1) << widthPower;
        if (m_tableOffset - position - 1 < width)
            return std::nullopt;
        count = bigEndian(m_data + position + 1, unsigned(width));
        position += 1 + width;
    }
    if (isUtf16) {
        if (count > (m_tableOffset - position) / 2)
            return std::nullopt;
        return Object{Object::Utf16String, position, count};
    }
    // A dictionary lists every key, then every value.
    const u64 perEntry = isDict ? 2 : 1;
    const u64 room = (m_tableOffset - position) / m_refSize;
    if (count > room / perEntry)
        return std::nullopt;
    return Object{Object::Container, position, count * perEntry};
}

// libplist 2.2 hands back a UTF-16 string holding U+0000 with a length its own
// accessors then assert against, ending the whole program: such a string never
// reaches them.
bool BinaryList::holdsNul(const Object &text) const
{
    const unsigned char *units = m_data + text.start;
    for (u64 i = 0; i < text.count; ++i) {
        if (units[2 * i] == 0 && units[2 * i + 1] == 0)
            return true;
    }
    return false;
}

// Folds a finished child into the frame at framePosition (0 for the top); false when
// the list is now known to be too deep or to unfold into too many values.
bool BinaryList::absorb(std::size_t framePosition, u64 childDepth, u64 childValues)
{
    Frame &frame = m_stack[framePosition];
    frame.depth = std::max(frame.depth, childDepth + 1);
    // The containers above this one add their own levels.
    if (framePosition + frame.depth > m_maxDepth)
        return false;
    frame.values = saturatingAdd(frame.values, childValues);
    return frame.values <= m_valueBudget;
}

bool BinaryList::isWithinBounds(int maxDepth)
{
    if (!readTrailer())
        return false;
    const auto top = object(m_top);
    if (!top)
        return false;
    if (top->kind != Object::Container)
        return true; // a lone value, which is no dictionary: libplist is never asked for it
    if (maxDepth < 1)
        return false;
    m_maxDepth = u64(maxDepth);
    m_valueBudget = saturatingAdd(m_size, kSharedValueAllowance);

    // Depth-first with an explicit stack; every container is walked once and
    // remembered, so a subtree shared a billion ways costs what it costs once.
    std::unordered_map<u64, Visit> visits;
    m_stack.clear();
    m_stack.push_back(Frame{m_top, top->start, top->count, 0, 1, 1});
    visits.emplace(m_top, Visit{true, 0, 0});
    while (!m_stack.empty()) {
        const std::size_t position = m_stack.size() - 1;
        Frame &frame = m_stack.back();
        if (frame.next == frame.refCount) {
            const Visit done{false, frame.depth, frame.values};
            visits[frame.index] = done;
            m_stack.pop_back();
            if (m_stack.empty())
                return true;
            if (!absorb(position - 1, done.depth, done.values))
                return false;
            continue;
        }
        const u64 child = bigEndian(m_data + frame.refsStart + frame.next * m_refSize, m_refSize);
        ++frame.next;
        const auto seen = visits.find(child);
        if (seen != visits.end()) {
            if (seen->second.open)
                return false; // the object contains itself
            if (!absorb(position, seen->second.depth, seen->second.values))
                return false;
            continue;
        }
        const auto found = object(child);
        if (!found)
            return false;
        if (found->kind == Object::Utf16String) {
            if (holdsNul(*found))
                return false;
            // Remembered like a container, so a long string shared many ways is
            // read once.
            visits.emplace(child, Visit{false, 0, 1});
        }
        if (found->kind != Object::Container) {
            if (!absorb(position, 0, 1))
                return false;
            continue;
        }
        if (m_stack.size() >= m_maxDepth)
            return false;
        visits.emplace(child, Visit{true, 0, 0});
        m_stack.push_back(Frame{child, found->start, found->count, 0, 1, 1});
    }
    return true;
}

// ---- XML lists -------------------------------------------------------------------

bool isXmlSpace(unsigned char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isNameChar(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == ':' || c == '.' || c == '-' || c >= 0x80;
}

// Where the markup starting at `start` ('<') ends: the first '>'. Refused (npos)
// when that is not where every reasonable reader would end it too: a '<' inside
// (never legal there), a single quote, or an odd number of double quotes (the
// '>' would sit inside a quoted value). Plist markup needs none of these.
std::size_t markupEnd(std::string_view text, std::size_t start)
{
    const std::size_t end = text.find('>', start + 1);
    if (end == std::string_view::npos)
        return end;
    const std::string_view inside = text.substr(start + 1, end - start - 1);
    if (inside.find_first_of("<'") != std::string_view::npos ||
        std::count(inside.begin(), inside.end(), '"') % 2 != 0)
        return std::string_view::npos;
    return end;
}

bool xmlWithinBounds(std::string_view text, int maxDepth)
{
    constexpr std::size_t npos = std::string_view::npos;
    const std::size_t limit = maxDepth < 0 ? 0 : std::size_t(maxDepth);
    std::string open; // 'a' for an array, 'd' for a dictionary, outermost first
    std::size_t pos = 0;
    while ((pos = text.find('<', pos)) != npos) {
        const std::string_view rest = text.substr(pos);
        if (rest.starts_with("<!--")) {
            // "<!-->" and "<!--->" end at once for a reader that looks for "-->" from
            // the "<!" on, and only later for one that starts after "<!--".
            const std::string_view body = rest.substr(4);
            if (body.starts_with(">") || body.starts_with("->"))
                return false;
            const std::size_t end = text.find("-->", pos + 4);
            if (end == npos)
                return false;
            pos = end + 3;
            continue;
        }
        if (rest.starts_with("<![CDATA[")) {
            const std::size_t end = text.find("]]>", pos + 9);
            if (end == npos)
                return false;
            pos = end + 3;
            continue;
        }
        const std::size_t end = markupEnd(text, pos);
        if (end == npos)
            return false;
        const std::string_view markup = text.substr(pos, end - pos + 1);
        pos = end + 1;
        if (markup.starts_with("<?")) {
            // A processing instruction ends at "?>"; its first '>' must be that one.
            if (markup.size() < 4 || markup[markup.size() - 2] != '?')
                return false;
            continue;
        }
        if (markup.starts_with("<!")) {
            // A document type. An internal subset could hide a '>' from one reader
            // and not another; plists never carry one.
            if (markup.find_first_of("[]") != npos)
                return false;
            continue;
        }
        const bool closing = markup.starts_with("</");
        const std::size_t nameStart = closing ? 2 : 1;
        std::size_t nameEnd = nameStart;
        while (nameEnd < markup.size() && isNameChar(static_cast<unsigned char>(markup[nameEnd])))
            ++nameEnd;
        const std::string_view name = markup.substr(nameStart, nameEnd - nameStart);
        if (name.empty())
            return false;
        if (closing) {
            const char kind = name == "array" ? 'a' : name == "dict" ? 'd' : 0;
            if (!kind)
                continue;
            // Only blanks may follow the name; a reader that skipped a close it did
            // not like would otherwise nest deeper than counted here.
            for (std::size_t i = nameEnd; i + 1 < markup.size(); ++i) {
                if (!isXmlSpace(static_cast<unsigned char>(markup[i])))
                    return false;
            }
            if (open.empty() || open.back() != kind)
                return false;
            open.pop_back();
            continue;
        }
        // Anything named like a container counts as one: overcounting a tag libplist
        // will refuse anyway costs nothing, undercounting could cost the stack.
        const char kind = name.starts_with("array") ? 'a' : name.starts_with("dict") ? 'd' : 0;
        if (!kind)
            continue;
        // An empty "<array/>" is a level of its own but holds nothing further down,
        // except at the top: libplist 2.2 takes what follows a self-closed top-level
        // container as its contents.
        if (open.size() + 1 > limit)
            return false;
        if (markup[markup.size() - 2] != '/' || open.empty())
            open.push_back(kind);
    }
    return true;
}

} // namespace

bool isWithinBounds(const char *data, std::size_t size, int maxDepth)
{
    if (!data || size == 0)
        return false;
    const auto *bytes = reinterpret_cast<const unsigned char *>(data);
    // libplist 2.2 reads "bplist00" as binary and tries everything else as XML.
    if (size >= kHeaderBytes && std::memcmp(data, "bplist00", kHeaderBytes) == 0)
        return BinaryList(bytes, u64(size)).isWithinBounds(maxDepth);

    std::size_t start = 0;
    if (size >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF)
        start = 3;
    while (start < size && isXmlSpace(bytes[start]))
        ++start;
    if (start == size || bytes[start] != '<')
        return false; // neither format: libplist 2.2 has no reader for it
    // XML has no place for a NUL, and libplist 2.2 asserts, ending the program, on
    // a string that holds one.
    if (std::memchr(data, 0, size))
        return false;
    return xmlWithinBounds(std::string_view(data + start, size - start), maxDepth);
}

} // namespace PropertyListShape

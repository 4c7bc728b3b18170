#include "MachOFile.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace MachO {

quint32 big32(const char *p)
{
    const auto *u = reinterpret_cast<const unsigned char *>(p);
    return quint32(u[0]) << 24 | quint32(u[1]) << 16 | quint32(u[2]) << 8 | quint32(u[3]);
}

namespace {

constexpr quint32 kFatMagic = 0xcafebabe;
constexpr quint32 kFatMagic64 = 0xcafebabf;
constexpr quint32 kMagic32 = 0xfeedface;
constexpr quint32 kMagic64 = 0xfeedfacf;
constexpr quint32 kLoadSegment = 0x1;
constexpr quint32 kLoadSegment64 = 0x19;
constexpr quint32 kLoadCodeSignature = 0x1d;
// A universal file holds a handful of architectures; more is not a real file.
constexpr quint32 kMaxSlices = 32;
constexpr quint32 kMaxCommands = 4096;
constexpr qint64 kMaxCommandBytes = 16 * 1024 * 1024;

quint64 big64(const char *p)
{
    return quint64(big32(p)) << 32 | big32(p + 4);
}

// Little- or big-endian as the slice's magic says.
struct Reader
{
    bool swapped; // stored big-endian
    quint32 u32(const char *p) const
    {
        const auto *u = reinterpret_cast<const unsigned char *>(p);
        return swapped
                   ? big32(p)
                   : quint32(u[0]) | quint32(u[1]) << 8 | quint32(u[2]) << 16 | quint32(u[3]) << 24;
    }
    quint64 u64(const char *p) const
    {
        return swapped ? big64(p) : quint64(u32(p)) | quint64(u32(p + 4)) << 32;
    }
};

// One slice at `extent`: its header and load commands; nothing when it is not
// Mach-O at all.
std::optional<Slice> readSlice(const File &file, Range extent)
{
    const auto magicBytes = file.read(extent.offset, 4);
    if (!magicBytes)
        return std::nullopt;
    const quint32 little = Reader{false}.u32(magicBytes->constData());
    const quint32 big = big32(magicBytes->constData());
    bool is64 = false;
    Reader r{false};
    if (little == kMagic32 || little == kMagic64) {
        is64 = little == kMagic64;
    } else if (big == kMagic32 || big == kMagic64) {
        is64 = big == kMagic64;
        r.swapped = true;
    } else {
        return std::nullopt;
    }
    Slice slice;
    slice.extent = extent;
    const auto broken = [&slice] {
        slice.brokenHeaders = true;
        return slice;
    };
    const qint64 headerSize = is64 ? 32 : 28;
    const auto header = file.read(extent.offset, headerSize);
    if (!header || headerSize > extent.length)
        return broken();
    const quint32 commandCount = r.u32(header->constData() + 16);
    const quint32 commandBytes = r.u32(header->constData() + 20);
    if (commandCount > kMaxCommands || commandBytes > kMaxCommandBytes ||
        !within(headerSize, commandBytes, extent.length))
        return broken();
    const auto commands = file.read(extent.offset + headerSize, commandBytes);
    if (!commands)
        return broken();

    qint64 at = 0;
    for (quint32 i = 0; i < commandCount; ++i) {
        if (!within(at, 8, commandBytes))
            return broken();
        const char *cmd = commands->constData() + at;
        const quint32 type = r.u32(cmd);
        const quint32 size = r.u32(cmd + 4);
        if (size < 8 || !within(at, size, commandBytes))
            return broken();
        if (type == kLoadCodeSignature) {
            const Range sig = size >= 16 ? Range{r.u32(cmd + 8), r.u32(cmd + 12)} : Range{};
            if (size < 16 || slice.signature || slice.brokenSignature ||
                !within(sig.offset, sig.length, extent.length))
                slice.brokenSignature = true;
            else
                slice.signature = Range{extent.offset + sig.offset, sig.length};
        } else if (type == kLoadSegment || type == kLoadSegment64) {
            const bool wide = type == kLoadSegment64;
            const qint64 segmentHeader = wide ? 72 : 56;
            const qint64 sectionSize = wide ? 80 : 68;
            if (size < segmentHeader)
                return broken();
            const quint32 sections = r.u32(cmd + (wide ? 64 : 48));
            if (sections > (size - segmentHeader) / sectionSize)
                return broken();
            if (QByteArray(cmd + 8, 16).startsWith("__TEXT")) {
                for (quint32 s = 0; s < sections; ++s) {
                    const char *sect = cmd + segmentHeader + s * sectionSize;
                    if (qstrncmp(sect, "__info_plist", 16) != 0)
                        continue;
                    const qint64 length = wide ? qint64(r.u64(sect + 40)) : r.u32(sect + 36);
                    const qint64 offset = r.u32(sect + (wide ? 48 : 40));
                    if (length < 0 || !within(offset, length, extent.length))
                        return broken();
                    slice.infoPlist = Range{extent.offset + offset, length};
                }
            }
        }
        at += size;
    }
    return slice;
}

} // namespace

File::File(int fd) : m_fd(fd)
{
    struct stat st;
    if (fd >= 0 && fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
        m_size = st.st_size;
}

std::optional<QByteArray> File::read(qint64 offset, qint64 length) const
{
    if (m_fd < 0 || !within(offset, length, m_size) || length > qint64(INT_MAX))
        return std::nullopt;
    QByteArray bytes(int(length), Qt::Uninitialized);
    qint64 done = 0;
    while (done < length) {
        const ssize_t n = ::pread(m_fd, bytes.data() + done, size_t(length - done), offset + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return std::nullopt; // cut short since it was measured
        done += n;
    }
    return bytes;
}

Layout read(const File &file)
{
    Layout layout;
    const auto magicBytes = file.read(0, 8);
    if (!magicBytes)
        return layout;
    const quint32 magic = big32(magicBytes->constData());
    QList<Range> extents;
    if (magic == kFatMagic || magic == kFatMagic64) {
        // Java class files share the magic; they count architectures in the
        // thousands, where a universal binary has a handful.
        const quint32 count = big32(magicBytes->constData() + 4);
        if (count == 0 || count > kMaxSlices)
            return layout;
        const qint64 entrySize = magic == kFatMagic64 ? 32 : 20;
        const auto table = file.read(8, count * entrySize);
        if (!table)
            return layout;
        for (quint32 i = 0; i < count; ++i) {
            const char *e = table->constData() + i * entrySize;
            const Range extent = magic == kFatMagic64
                                     ? Range{qint64(big64(e + 8)), qint64(big64(e + 16))}
                                     : Range{big32(e + 8), big32(e + 12)};
            if (!within(extent.offset, extent.length, file.size()))
                return layout; // a universal header that does not fit: nothing to examine
            extents.append(extent);
        }
    } else {
        extents.append(Range{0, file.size()});
    }
    bool signedSlice = false;
    for (const Range &extent : extents) {
        const std::optional<Slice> slice = readSlice(file, extent);
        if (!slice) {
            if (extents.size() == 1)
                return layout; // not Mach-O
            // A universal file with something else inside cannot be checked whole.
            Slice odd;
            odd.extent = extent;
            odd.brokenHeaders = true;
            layout.slices.append(odd);
            continue;
        }
        signedSlice = signedSlice || slice->signature || slice->brokenSignature;
        layout.slices.append(*slice);
    }
    layout.kind = signedSlice ? Kind::Signed : Kind::Unsigned;
    return layout;
}

} // namespace MachO

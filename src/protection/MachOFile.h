#pragma once

#include <QByteArray>
#include <QList>
#include <optional>

// What the signature check needs of a Mach-O file, read with bounds checked at
// every step: its slices (one for a thin file, one per architecture for a
// universal one) and, per slice, where its code signature and its embedded
// information list lie. A hostile or truncated file gives a clean answer.
namespace MachO {

// An open file read by offset, never past its end.
class File
{
public:
    explicit File(int fd);
    qint64 size() const { return m_size; }
    // Exactly `length` bytes at `offset`, or nothing.
    std::optional<QByteArray> read(qint64 offset, qint64 length) const;
    int fd() const { return m_fd; }

private:
    int m_fd;
    qint64 m_size = 0;
};

struct Range
{
    qint64 offset = 0; // from the start of the file
    qint64 length = 0;
};

struct Slice
{
    Range extent;                   // the slice within the file
    std::optional<Range> signature; // LC_CODE_SIGNATURE, from the start of the file
    bool brokenSignature = false;   // the command is there, but its data lies outside
    bool brokenHeaders = false;     // the load commands do not hold together
    std::optional<Range> infoPlist; // the __TEXT,__info_plist section, likewise
};

enum class Kind
{
    NotMachO, // not Mach-O code, or not readable
    Unsigned, // Mach-O code that carries no code signature
    Signed,   // Mach-O code with LC_CODE_SIGNATURE in at least one slice
};

struct Layout
{
    Kind kind = Kind::NotMachO;
    QList<Slice> slices; // in file order
};

Layout read(const File &file);

// Whether [offset, offset + length) lies inside [0, size), without overflow.
inline bool within(qint64 offset, qint64 length, qint64 size)
{
    return offset >= 0 && length >= 0 && offset <= size && length <= size - offset;
}

// A big-endian 32-bit value, as universal headers and code signatures store them.
quint32 big32(const char *p);

} // namespace MachO

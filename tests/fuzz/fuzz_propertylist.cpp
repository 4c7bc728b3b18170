#include "PropertyList.h"
#include "PropertyListShape.h"

#include <QByteArray>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

constexpr int kMaxDepth = 64; // PropertyList's own limit

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "fuzz_propertylist: %s\n", what);
    std::abort();
}

// Containers on the deepest path below a value read back, the top dictionary
// counting as one. The reader never hands back more than its limit, so this
// recursion stays shallow.
int depthOf(const QVariant &value)
{
    int below = 0;
    if (value.typeId() == QMetaType::QVariantList) {
        for (const QVariant &item : value.toList())
            below = std::max(below, depthOf(item));
        return below + 1;
    }
    if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            below = std::max(below, depthOf(it.value()));
        return below + 1;
    }
    return 0;
}

} // namespace

// One input, any bytes: nothing may crash, trip a sanitizer or hang, and what the
// guard and the reader say must agree with each other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const char *bytes = reinterpret_cast<const char *>(data);

    const bool within = PropertyListShape::isWithinBounds(bytes, size, kMaxDepth);
    // A deeper limit can only let more through.
    if (within && !PropertyListShape::isWithinBounds(bytes, size, kMaxDepth + 1))
        fail("accepted at 64 but refused at 65");
    if (within && !PropertyListShape::isWithinBounds(bytes, size, std::numeric_limits<int>::max()))
        fail("accepted at 64 but refused with no limit");
    if (PropertyListShape::isWithinBounds(bytes, size, 0) && !within)
        fail("accepted at 0 but refused at 64");

    const auto read = PropertyList::fromData(QByteArray::fromRawData(bytes, qsizetype(size)));
    if (read && !within)
        fail("read a list the guard refused");
    if (read && depthOf(*read) > kMaxDepth)
        fail("read a list deeper than the limit");
    return 0;
}

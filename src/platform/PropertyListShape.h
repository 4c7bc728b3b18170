#pragma once

#include <cstddef>

// A look at the shape of a property list before libplist sees it. libplist 2.2
// recurses once per nesting level while it parses and again while it frees, and
// it copies a shared binary object at every reference to it, so a small crafted
// file can overflow the stack or ask for billions of nodes. This check walks the
// bytes without recursion and in linear time.
namespace PropertyListShape {

// True when the bytes are a binary ("bplist00") or XML property list whose
// containers (arrays, dictionaries, sets) nest at most maxDepth deep, and whose
// binary objects, shared or not, would not unfold into more values than the file
// could hold written out plainly. False for anything deeper, for binary lists with
// a loop, a reference or an offset out of range, for XML it cannot follow tag by
// tag, for a NUL character in a string (libplist 2.2 asserts on one), and for every
// other kind of input, which libplist 2.2 would not read. True does not make the
// list valid: libplist still decides that.
bool isWithinBounds(const char *data, std::size_t size, int maxDepth);

} // namespace PropertyListShape

#pragma once

#include <QByteArray>
#include <cstdint>
#include <random>
#include <vector>

// What the fuzz driver feeds the property-list reader: seed lists, inputs known
// to be hostile, and the mutations it applies to them. Everything is drawn from
// one generator, so a run with the same seed tries the same inputs.
namespace FuzzInputs {

using Random = std::mt19937_64; // its output is fixed by the standard, unlike distributions

// The longest input tried.
constexpr qsizetype kMaxInput = 4 * 1024 * 1024;

std::uint64_t below(Random &random, std::uint64_t bound);
// Lists past every limit: too deep, exactly at and one past the depth limit,
// shared without bound, looping.
std::vector<QByteArray> hostileInputs(Random &random);
std::vector<QByteArray> seeds();
// Fresh inputs: a small binary list with a random object graph, a binary chain up
// to 300,000 deep, XML nested around and far past the limit.
QByteArray randomBinary(Random &random);
QByteArray randomChainBinary(Random &random);
QByteArray deepXml(Random &random);
void mutate(QByteArray &data, Random &random, const std::vector<QByteArray> &seeds);

} // namespace FuzzInputs

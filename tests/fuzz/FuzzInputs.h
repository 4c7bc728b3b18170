#pragma once

#include <QByteArray>
#include <random>
#include <vector>

// What the fuzz driver feeds the property-list reader: seed lists, shapes known
// to be hostile, and fresh or mutated inputs. Everything is drawn from one
// generator, so a run with the same seed tries the same inputs.
namespace FuzzInputs {

using Random = std::mt19937_64; // its output is fixed by the standard, unlike distributions

// Lists past every limit: too deep, exactly at and one past the depth limit,
// shared without bound, looping.
std::vector<QByteArray> hostileInputs(Random &random);
std::vector<QByteArray> seeds();
// The next input: a small binary list with a random object graph, a binary
// chain up to 300,000 deep, XML nested around and far past the limit, or a seed
// or the previous input (when given) with a few mutations.
QByteArray next(Random &random, const std::vector<QByteArray> &seeds, const QByteArray &previous);

} // namespace FuzzInputs

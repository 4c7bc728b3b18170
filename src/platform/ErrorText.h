#pragma once

#include <QString>

// A system error in words for the user, in Spanish like every other text.
namespace ErrorText {

QString describe(int errorNumber);

} // namespace ErrorText

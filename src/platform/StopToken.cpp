#include "StopToken.h"

#include <utility>

namespace StopToken {

namespace {
thread_local Flag t_flag;
} // namespace

Flag make()
{
    return std::make_shared<std::atomic<bool>>(false);
}

Flag current()
{
    return t_flag;
}

bool requested()
{
    return t_flag && t_flag->load(std::memory_order_relaxed);
}

Scope::Scope(Flag flag) : m_previous(std::exchange(t_flag, std::move(flag))) {}

Scope::~Scope()
{
    t_flag = std::move(m_previous);
}

} // namespace StopToken

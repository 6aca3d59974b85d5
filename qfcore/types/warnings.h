/// Warnings from message tables: the companion of `fail`.
#pragma once

#include "qfcore/number/errors.h"
#include "tessel/messages.h"

namespace embedded {

/// Issues message `M` on the host's warning channel.
template <const Message& M, class... Arguments>
void warn(Arguments... arguments) {
  tessel::warn(M.identifier, formatted<M>(arguments...));
}

}  // namespace embedded

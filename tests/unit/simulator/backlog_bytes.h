#pragma once

#include "simulator/clients/backlog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

/// Takes up to \p most bytes out of \p backlog, like a socket.
inline std::string TakeBytes(sim::Backlog& backlog, std::size_t most = std::string::npos)
{
    std::string taken;
    while (!backlog.IsEmpty() && taken.size() < most) {
        iovec pieces[3];
        std::size_t total = 0;
        const unsigned int count = backlog.Gather(pieces, 3, total);
        std::string gathered;
        for (unsigned int i = 0; i < count; ++i) {
            gathered.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
        }
        EXPECT_EQ(gathered.size(), total);
        gathered.resize(std::min(gathered.size(), most - taken.size()));
        backlog.Sent(gathered.size());
        taken += gathered;
    }
    return taken;
}

#include "host/parsers/dolby_word_order.h"

#include <cstddef>
#include <utility>

bool startsWithSwappedDolbySync(const std::vector<uint8_t>& payload)
{
    return payload.size() >= 2 && payload[0] == 0x77 && payload[1] == 0x0B;
}

bool restoreDolbyWordOrder(std::vector<uint8_t>& payload)
{
    if (!startsWithSwappedDolbySync(payload))
        return false;
    for (size_t i = 0; i + 1 < payload.size(); i += 2)
        std::swap(payload[i], payload[i + 1]);
    return true;
}

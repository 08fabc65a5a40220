// The catalogue's place on the real bus.
#include "on_bus.h"

#include "place.h"

RealWorld& real(Run& run)
{
    return static_cast<RealWorld&>(run.world);
}

const place_t THIS_PLACE = place_t::bus;

std::vector<row_t> own_rows()
{
    std::vector<row_t> rows;
    for (const auto some : {disk_rows(), machine_rows(), soak_rows()})
        rows.insert(rows.end(), some.begin(), some.end());
    return rows;
}

std::unique_ptr<World> make_world(uint64_t)
{
    return std::make_unique<RealWorld>();
}

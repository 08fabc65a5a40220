#include "demo/tfr_leg.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "bus_access.h"
#include "console.h"
#include "files.h"
#include "tfr_file/tfr_geojson.h"
#include "tfr_run.h"
#include "units.h"

namespace cli {
namespace {

const char* kind_of(const vela_tfr_item_t& area)
{
    return area.point_num == 0 ? "circle" : "polygon";
}

std::string edge_text(double metres)
{
    char text[48];
    if (metres < 0)
        std::snprintf(text, sizeof text, "aircraft %.0f m inside", -metres);
    else
        std::snprintf(text, sizeof text, "edge %.0f m away", metres);
    return text;
}

}  // namespace

bool TfrLeg::run()
{
    const auto step = [this](const char* name, step_result_t (TfrLeg::*what)()) {
        return stage_.step(name, [this, what] { return (this->*what)(); });
    };
    return step("restricted areas made", &TfrLeg::make_file) && step("areas delivered", &TfrLeg::deliver) &&
           step("areas offered again", &TfrLeg::deliver_again) && step("nearest areas pushed", &TfrLeg::see_pushes);
}

step_result_t TfrLeg::make_file()
{
    failure_t failure;
    const std::string& path = stage_.options().areas;
    const std::optional<std::vector<uint8_t>> text = read_file(path, failure);
    if (!text) return failed(failure.what, failure.next);
    const peers::tfr_geojson_t read =
        peers::read_tfr_geojson({reinterpret_cast<const char*>(text->data()), text->size()});
    if (read.problem_count > 0) return failed(path + ": " + read.problems.front().text(), "`vela tfr make` lists all.");
    file_ = peers::build_tfr_file(read.recipe);
    areas_ = read.recipe.areas.size();
    const peers::aircraft_state_t& aircraft = stage_.aircraft();
    tfr_selection_reset(&nearest_);
    for (const vela_tfr_item_t& area : read.recipe.areas)
        tfr_selection_add(&nearest_, area, tfr_distance_to_edge(aircraft.latitude, aircraft.longitude, area));
    return held(std::to_string(areas_) + " areas in " + size_text(file_.size()) + " from " + path);
}

step_result_t TfrLeg::deliver()
{
    ProgressBar bar("· areas", stage_.quiet());
    delivery_ = run_tfr(stage_.app().restrictions(), file_, {}, stage_.waiter(), bar);
    if (delivery_.outcome == peers::transfer_outcome::cancelled) stage_.interrupt();
    if (delivery_.outcome != peers::transfer_outcome::done) return stage_.failed_see_log(delivery_.what);
    return held(std::to_string(delivery_.blocks) + " fragments in " +
                duration_text(static_cast<double>(delivery_.elapsed_us) / 1e6) + ", digest verified");
}

step_result_t TfrLeg::deliver_again()
{
    ProgressBar bar("· areas", true);
    const auto again = run_tfr(stage_.app().restrictions(), file_, {}, stage_.waiter(), bar);
    if (again.outcome == peers::transfer_outcome::cancelled) stage_.interrupt();
    if (again.outcome != peers::transfer_outcome::done) return stage_.failed_see_log(again.what);
    if (!again.already_there) return stage_.failed_see_log("the file was sent although it is there already");
    return held("nothing sent: the aircraft has them already");
}

std::vector<uint32_t> TfrLeg::expected_ids() const
{
    std::vector<uint32_t> ids;
    for (uint8_t place = 0; place < nearest_.num; ++place)
        ids.push_back(nearest_.tfr_items[place].area_id);
    return ids;
}

step_result_t TfrLeg::see_pushes()
{
    const auto all_known = [this] {
        const peers::restrictions_t now = stage_.controller().restrictions().now();
        return now.count > 0 && now.complete();
    };
    if (stage_.wait_for(all_known) != wake::notified)
        return stage_.failed_see_log("the flight controller does not know them");
    const peers::restrictions_t known = stage_.controller().restrictions().now();
    if (known.ids() != expected_ids()) return stage_.failed_see_log("they are not the nearest ones in order");
    return held(std::to_string(known.count) + " of " + std::to_string(areas_) + ", one a second, nearest first, " +
                edge_text(static_cast<double>(nearest_.dis2drone[0])));
}

json TfrLeg::summary_json() const
{
    json nearest = json::array();
    for (uint8_t place = 0; place < nearest_.num; ++place) {
        const vela_tfr_item_t& area = nearest_.tfr_items[place];
        nearest.push_back(
            {{"id", uint32_t{area.area_id}}, {"shape", kind_of(area)}, {"distance_m", nearest_.dis2drone[place]}});
    }
    return {{"areas", areas_}, {"bytes", file_.size()}, {"fragments", delivery_.blocks}, {"pushed", nearest}};
}

void TfrLeg::print_summary() const
{
    std::printf("  The app delivered %zu restricted areas; the flight controller got the %u nearest:\n", areas_,
                nearest_.num);
    for (uint8_t place = 0; place < nearest_.num; ++place) {
        const vela_tfr_item_t& area = nearest_.tfr_items[place];
        const auto edge = static_cast<double>(nearest_.dis2drone[place]);
        std::printf("    area %-6u %-8s %s\n", area.area_id, kind_of(area), edge_text(edge).c_str());
    }
}

}  // namespace cli

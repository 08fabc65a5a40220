#include "demo/demo.h"

#include <cstdio>

#include "console.h"
#include "demo/flight_leg.h"
#include "demo/nfz_leg.h"
#include "demo/tfr_leg.h"

namespace cli {
namespace {

exit_code report_failure(const Stage& stage)
{
    const step_result_t& why = *stage.steps().failure();
    const exit_code code = stage.interrupted() ? exit_code::interrupted : exit_code::demo_failed;
    if (!stage.context().as_json) std::printf("\n");
    return report(stage.context(),
                  {code, "step \"" + stage.steps().failed_step() + "\" failed: " + why.text, why.look_at},
                  {{"steps", stage.steps().as_json()}});
}

exit_code run_flight(const context_t& context, const demo_options_t& options)
{
    if (!context.as_json) std::printf("%s\n\n", styled(style::bold, "A factory flight").c_str());
    Waiter inbox_waiter;
    TestInbox inbox(inbox_waiter);
    Stage stage(context, options, inbox.events());
    FlightLeg flight(stage, inbox);
    const auto prepare = [&] { return prepare_flight(options); };
    if (!stage.step("motion list laid out", prepare) || !stage.open() || !flight.run() || !stage.close())
        return report_failure(stage);
    if (context.as_json) {
        print_result({{"flight", flight.summary_json()}, {"steps", stage.steps().as_json()}});
        return exit_code::ok;
    }
    std::printf("\n%s\n", styled(style::bold, "What happened").c_str());
    flight.print_summary();
    std::printf("%s\n", styled(style::good, "It flew.").c_str());
    return exit_code::ok;
}

}  // namespace

exit_code run_demo(const context_t& context, const demo_options_t& options)
{
    if (!options.list.empty()) return run_flight(context, options);
    if (!context.as_json)
        std::printf("%s\n\n", styled(style::bold, "What the service does for a simulated aircraft").c_str());
    Stage stage(context, options);
    NfzLeg nfz(stage);
    TfrLeg tfr(stage);
    if (!stage.open() || !nfz.run() || !tfr.run() || !stage.close()) return report_failure(stage);
    if (context.as_json) {
        print_result({{"summary", nfz.summary_json()},
                      {"restrictions", tfr.summary_json()},
                      {"steps", stage.steps().as_json()}});
        return exit_code::ok;
    }
    std::printf("\n%s\n", styled(style::bold, "What happened").c_str());
    nfz.print_summary();
    tfr.print_summary();
    std::printf("%s\n", styled(style::good, "Everything held.").c_str());
    return exit_code::ok;
}

}  // namespace cli

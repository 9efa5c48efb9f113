// A tour for the newcomer: the real service in an emulated handset, between a station, an application and a modem, and
// what each of them sees of it. Exits with 0 when all of it went as it should. Run by script/run.
#include <exception>
#include <iostream>

#include "tour/scenes.h"

namespace {

void play_all(tour::stage &stage)
{
    std::cout << "The real service in an emulated handset.\n"
                 "-> is what the service is sent, <- what comes back, and modem: what the modem hears of it.\n";
    tour::equipment equipment;
    tour::play_station(stage, equipment);
    tour::play_application(stage, equipment);
    tour::play_cable(stage, equipment);
    tour::play_other_starts(stage, equipment);
}

} // namespace

int main()
{
    tour::stage stage;
    try {
        play_all(stage);
    } catch (const std::exception &error) {
        (void)stage.show_checks();
        std::cerr << "handset-tour: " << tour::one_line(error.what()) << '\n';
        return 1;
    }
    const bool all_hold = stage.show_checks();
    std::cout << '\n' << (all_hold ? "All of it went as it should." : "Something went wrong: see FAIL above.") << '\n';
    return all_hold ? 0 : 1;
}

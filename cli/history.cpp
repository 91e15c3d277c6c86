// The processing history of an image, read through the library.
#include "cli/history.h"

#include <memory>

#include "cli/library.h"
#include "lumo_steps.h"

namespace lumo::cli {
namespace {

struct HistoryDeleter {
    void operator()(LumoHistory* history) const { LumoDestroyHistory(&history); }
};

}  // namespace

std::vector<HistoryStep> readHistory(lmImage* image, const std::string& file) {
    LumoHistory* place = nullptr;
    check(LumoReadHistory(image, &place), file);
    const std::unique_ptr<LumoHistory, HistoryDeleter> history(place);
    std::vector<HistoryStep> steps;
    for (int i = 0; i < LumoCountHistory(history.get()); ++i) {
        LumoHistoryStep step{};
        step.size = sizeof step;
        LumoGetHistoryStep(history.get(), i, &step);
        steps.push_back({step.number, step.flags, step.recorded, step.text, step.reason});
    }
    return steps;
}

}  // namespace lumo::cli

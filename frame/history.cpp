// Steps are numbered after the highest that the section holds.
#include "frame/history.h"

#include <cstdio>

#include "frame/ini2.h"

namespace lumo {
namespace {

constexpr char section[] = "PerformedSteps";
/// Keys have at most 8 characters, so from step 10000 on the cut key names an earlier entry.
constexpr int keySize = 8 + 1;

}  // namespace

void AddPerformedStep(const char* step, ini2* store) {
    if (step == nullptr || store == nullptr) return;
    int last = -1;
    if (store->maxIndex(&last, section, "Step") != 0) last = -1;
    char key[keySize];
    // The cut is meant; the result says how long the whole key would be.
    if (std::snprintf(key, sizeof key, "Step%i", last + 1) < 0) return;
    store->set(section, key, step, nullptr);
}

}  // namespace lumo

// A duplicate of the global locale stays as it is when another thread sets a new one.
#include "platform/numeric_locale.h"

#include <langinfo.h>
#include <locale.h>

namespace lumo {
namespace {

locale_t localeOf(void* copy) {
    return static_cast<locale_t>(copy);
}

}  // namespace

NumericLocale::NumericLocale() noexcept : copy_(duplocale(LC_GLOBAL_LOCALE)) {}

NumericLocale::~NumericLocale() {
    if (copy_ != nullptr) freelocale(localeOf(copy_));
}

const char* NumericLocale::name() const noexcept {
    return copy_ != nullptr ? nl_langinfo_l(_NL_LOCALE_NAME(LC_NUMERIC), localeOf(copy_)) : "";
}

void useDecimalPoint() noexcept {
    setlocale(LC_NUMERIC, "C");
}

}  // namespace lumo

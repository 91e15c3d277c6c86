// The process's locale for numbers.
#pragma once

namespace lumo {

/// The numeric locale as it was at construction; a copy of the locale keeps its name valid beside
/// other threads' calls.
class NumericLocale {
public:
    NumericLocale() noexcept;
    ~NumericLocale();
    NumericLocale(const NumericLocale&) = delete;
    NumericLocale& operator=(const NumericLocale&) = delete;
    /// Its name; the empty text without memory for the copy.
    [[nodiscard]] const char* name() const noexcept;

private:
    void* copy_;
};

/// Makes the process's numbers have a decimal point: its numeric locale is "C" from here on.
void useDecimalPoint() noexcept;

}  // namespace lumo

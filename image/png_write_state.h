// An open row-by-row PNG write, as far as destroying its image needs to know it.
#pragma once

/// Owns libpng's structures and the file; destroying it abandons the write.
struct PngWriteState {
    PngWriteState() = default;
    PngWriteState(const PngWriteState&) = delete;
    PngWriteState& operator=(const PngWriteState&) = delete;
    virtual ~PngWriteState() = default;
};

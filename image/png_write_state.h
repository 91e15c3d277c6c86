// An open row-by-row PNG write, as far as destroying its image needs to know it.
#pragma once

#include <cstdint>
#include <cstdio>

struct png_struct_def;
struct png_info_def;

struct PngWriteState {
    png_struct_def* png;
    png_info_def* info;
    std::FILE* file;
    std::uint16_t width, height;  ///< the image's size when the write began
    int rowsWritten;
    bool dead;  ///< a row failed: nothing more is handed to libpng
    void (*release)(
        PngWriteState*);  ///< frees structures and state and closes the file; set by io/
};

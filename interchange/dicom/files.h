// Reading and writing DICOM and DICONDE files, as the helper program lumo-dicom offers it.
//
//   lumo-dicom read [frame=N] [keep=LISTS] [pitch-from=object] [monochrome2=1]
//     frame        of several, which one, from 1; without it several are refused
//     keep         of what identifies, the lists to take along into section DICOM_Identity,
//                  separated by commas: device, dates, uids, people, or all
//     pitch-from   the object's calibrated spacing instead of the detector's
//     monochrome2  turns values of which small ones are meant bright
//
//   lumo-dicom write [sop=CLASS] [intensity=RELATION] [compression=NAME] [like=1] [version=TEXT]
//     sop          sc, cr, dx or dx-processing; else the source's, or secondary capture
//     intensity    lin+, lin-, log+ or log-: how grey values go with the intensity of the beam,
//                  where class dx needs it and section DICOM does not say
//     compression  none, rle, jpeg-lossless or jpeg-ls
//     like         all but pixels, their description and what belongs to the original alone is
//                  taken from the original file, descriptor 4
//     version      of the program, for the file's history
//
// What a picture brings along: sections DICOM, DICONDE and DICOM_Identity, whose keys are the
// standards' keywords; section Import, how it was read: Format, TransferSyntax, Standard, Frame,
// Frames, Offset, PitchFrom, WindowLow, WindowHigh, LeftOut, Steps (of the history so far) and the
// marks of helper_main.h; PerformedSteps; and from files that we have written other sections.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "interchange/helper_main.h"
#include "interchange/picture.h"

namespace lumo::interchange {

extern const Helper dicomHelper;

/// The work itself, without descriptors and processes. All throw Refusal for what is no picture or
/// cannot be one, and for names in the request that do not exist.
[[nodiscard]] Picture readDicom(std::span<const std::uint8_t> file, const Request& request);
/// The same of an open file; `allow` is called with the raster's bytes before room is made for it.
[[nodiscard]] Picture readDicom(int descriptor, const Request& request,
                                const std::function<void(std::uint64_t)>& allow);

/// A file as bytes, read again and compared with the picture; `original` is used if the request
/// asks for a file like it.
[[nodiscard]] std::vector<std::uint8_t> writeDicom(const Picture& picture, const Request& request,
                                                   std::span<const std::uint8_t> original,
                                                   std::vector<std::string>& notes);

}  // namespace lumo::interchange

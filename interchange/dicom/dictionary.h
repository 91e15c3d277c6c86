// The DICOM library's dictionary: its own has thousands of entries and takes ten times as long to
// load as a file takes to read.
#pragma once

namespace lumo::interchange::dicom {

/// Silences the library and gives it a dictionary of the attributes that matter here. The first
/// call in a process counts; before anything else of the library is used.
void useSmallDictionary();

/// Loads the library's own dictionary instead, so that attributes of which nothing is known here
/// keep their value representations.
void useWholeDictionary();

}  // namespace lumo::interchange::dicom

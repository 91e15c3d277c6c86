// The elements that a class of image objects asks for, known or not.
#pragma once

#include "interchange/dicom/dcmtk.h"
#include "interchange/dicom/sop_classes.h"

namespace lumo::interchange::dicom {

/// Puts them: the class's own values, empty elements for what nobody knows, the character set and
/// the time of writing. Throws Refusal for what nobody may invent.
void putRequired(DcmItem& dataset, const SopClass& sop, bool smallIsBright, int bits);

}  // namespace lumo::interchange::dicom

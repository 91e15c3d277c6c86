// The DICOM library's headers, which do not pass the project's warnings by themselves.
#pragma once

#include "dcmtk/config/osconfig.h"
// The library's configuration comes before all other headers of it.
#include "dcmtk/dcmdata/dcistrmb.h"
#include "dcmtk/dcmdata/dcistrmf.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dcmtk/dcmdata/dcspchrs.h"
#include "dcmtk/dcmdata/dctk.h"

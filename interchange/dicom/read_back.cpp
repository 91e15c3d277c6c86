// Reading what has been written, and comparing it with what should be there.
#include "interchange/dicom/read_back.h"

#include <algorithm>

#include "interchange/dicom/metadata.h"
#include "interchange/dicom/reader.h"
#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

void require(bool holds, const std::string& what) {
    if (!holds) throw Refusal("what was written does not read back: " + what);
}

bool isOfElement(const Entry& entry) {
    return entry.section == technicalSection || entry.section == componentSection ||
           entry.section == identitySection;
}

}  // namespace

std::vector<Entry> allEntries(DcmItem& dataset) {
    ElementText text(dataset);
    Metadata metadata = gatherMetadata(dataset, text, Keep("all"));
    std::vector<Entry> entries;
    for (std::vector<Entry>* const found :
         {&metadata.technical, &metadata.component, &metadata.identity})
        std::ranges::move(*found, std::back_inserter(entries));
    return entries;
}

void requireSame(const Picture& picture, const Written& written, const OpenStream& file) {
    ReadOptions options;
    options.keep = Keep("all");
    const Picture again = readPicture(file, options);
    require(again.width == picture.width && again.height == picture.height, "its size");
    require(std::equal(again.raster.get(), again.raster.get() + again.pixelCount(),
                       picture.raster.get()),
            "its pixels");
    require(!written.pitch || Pitch{again.pitchX, again.pitchY} == *written.pitch, "its pitch");
    std::vector<Entry> entries;
    std::ranges::copy_if(again.entries, std::back_inserter(entries), isOfElement);
    require(entries == written.entries, "its elements");
}

}  // namespace lumo::interchange::dicom

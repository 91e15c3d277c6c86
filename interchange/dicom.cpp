// The helper program lumo-dicom: DICOM and DICONDE files for the program lumo.
#include "interchange/dicom/files.h"

int main(int count, char** arguments) {
    return lumo::interchange::runHelper(lumo::interchange::dicomHelper, count, arguments);
}

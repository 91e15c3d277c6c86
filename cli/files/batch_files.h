// Which files a batch takes, and where their results go.
#pragma once

#include <string>
#include <vector>

namespace lumo::cli {

struct BatchFile {
    std::string input, output;
};

struct BatchFiles {
    std::vector<BatchFile> files;       ///< by folder, in the order of their names
    std::vector<std::string> failures;  ///< what cannot be taken, one line each
};

/// Takes the files of the list, then looks through the folders and what lies below them. Folders
/// behind symbolic links and the output folder are left out. Of several folders each gets a folder
/// of its own name in the output.
/// @param list  a file of names, one a line, or "-"; empty for none. A name below the current
///              folder keeps its subfolders in the output
/// @param extension  what the results' names end in; empty: as their sources'
[[nodiscard]] BatchFiles findBatchFiles(const std::vector<std::string>& folders,
                                        const std::string& list, const std::string& out,
                                        const std::string& extension);

}  // namespace lumo::cli

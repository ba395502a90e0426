#include "FolderNames.h"

#include <filesystem>
#include <map>

namespace velin {
namespace cli {

std::vector<std::string> volumeFolders(const std::vector<std::string>& inputs, const std::string& outputDir) {
    namespace fs = std::filesystem;
    std::map<std::string, int> seen;
    std::vector<std::string> folders;
    for (const std::string& input : inputs) {
        std::string stem = fs::path(input).stem().string();
        if (stem.empty()) stem = "volume";
        const int count = ++seen[stem];
        if (count > 1) stem += "-" + std::to_string(count);
        folders.push_back((fs::path(outputDir) / stem).string());
    }
    return folders;
}

}  // namespace cli
}  // namespace velin

#include "FolderNames.h"

#include <filesystem>
#include <set>

namespace velin {
namespace cli {

std::vector<std::string> volumeFolders(const std::vector<std::string>& inputs, const std::string& outputDir) {
    namespace fs = std::filesystem;
    std::set<std::string> taken;
    std::vector<std::string> folders;
    for (const std::string& input : inputs) {
        std::string stem = fs::path(input).stem().string();
        if (stem.empty() || stem == "." || stem == "..") stem = "volume";
        std::string name = stem;
        for (int n = 2; taken.count(name) > 0; ++n) name = stem + "-" + std::to_string(n);
        taken.insert(name);
        folders.push_back((fs::path(outputDir) / name).string());
    }
    return folders;
}

}  // namespace cli
}  // namespace velin

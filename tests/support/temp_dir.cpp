#include "temp_dir.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace testing_support {

TempDir::TempDir() {
    const char *root = std::getenv("TMPDIR");
    std::string text = std::string(root != nullptr && *root != '\0' ? root : "/tmp") + "/isamtest.XXXXXX";
    std::vector<char> name(text.begin(), text.end());
    name.push_back('\0');
    if (mkdtemp(name.data()) == nullptr) {
        std::perror("mkdtemp");
        std::exit(1);
    }
    path_ = name.data();
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace testing_support

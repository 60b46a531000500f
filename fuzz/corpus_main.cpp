// Runs a fuzz target over the files of the folders that are named as arguments.

#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

bool read_file(const std::string& path, std::vector<uint8_t>& bytes) {
    FILE* const file = fopen(path.c_str(), "rb");
    if (file == nullptr)
        return false;
    uint8_t part[4096];
    bytes.clear();
    for (size_t n; (n = fread(part, 1, sizeof part, file)) > 0;)
        bytes.insert(bytes.end(), part, part + n);
    fclose(file);
    return true;
}

/// How many inputs the folder has.
int run_folder(const std::string& path) {
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr)
        return 0;
    int inputs = 0;
    std::vector<uint8_t> bytes;
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] == '.' || !read_file(path + "/" + entry->d_name, bytes))
            continue;
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        inputs++;
    }
    closedir(folder);
    return inputs;
}

} // namespace

int main(int count, char** arguments) {
    int inputs = 0;
    for (int i = 1; i < count; i++)
        inputs += run_folder(arguments[i]);
    printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}

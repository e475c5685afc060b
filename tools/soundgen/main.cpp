// Writes the shipped sounds into the sound folder given on the command line.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "SoundGenerator.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: quelby-soundgen <sound folder>\n";
        return 2;
    }
    const std::filesystem::path folder(argv[1]);
    for (const auto& [name, bytes] : soundgen::makeSounds()) {
        const std::filesystem::path file = folder / name;
        std::error_code error;
        std::filesystem::create_directories(file.parent_path(), error);
        if (error) {
            std::cerr << "cannot create " << file.parent_path().string() << ": " << error.message()
                      << "\n";
            return 1;
        }
        std::ofstream out(file, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        if (!out) {
            std::cerr << "cannot write " << file.string() << "\n";
            return 1;
        }
        std::cout << file.string() << " (" << bytes.size() << " bytes)\n";
    }
    return 0;
}

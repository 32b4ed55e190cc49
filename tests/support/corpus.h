// The public sample corpus beside the checkout (or $VELLUM_CORPUS), read
// through its manifest. Tests skip when it is absent.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace vtest {

struct CorpusEntry {
    std::string path;  // absolute
    std::string name;  // as listed
    std::string format;
    std::string expected;  // ok, questionable or bad
    int width = 0;
    int height = 0;
    std::string rgbaSha256;
};

inline std::string CorpusDir() {
    if (const char* env = std::getenv("VELLUM_CORPUS")) return env;
#ifdef VELLUM_CORPUS_DIR
    return VELLUM_CORPUS_DIR;
#else
    return "";
#endif
}

// Entries of one format family; empty when the corpus is not there.
inline std::vector<CorpusEntry> CorpusEntries(const std::string& format) {
    std::vector<CorpusEntry> entries;
    const std::string dir = CorpusDir();
    std::ifstream manifest(dir + "/manifest.tsv");
    std::string line;
    std::getline(manifest, line);  // column names
    while (std::getline(manifest, line)) {
        std::vector<std::string> f;
        std::stringstream ss(line);
        std::string field;
        while (std::getline(ss, field, '\t')) f.push_back(field);
        f.resize(6);
        if (f[1] != format) continue;
        CorpusEntry e;
        e.name = f[0];
        e.path = dir + "/" + f[0];
        e.format = f[1];
        e.expected = f[2];
        e.width = f[3].empty() ? 0 : std::atoi(f[3].c_str());
        e.height = f[4].empty() ? 0 : std::atoi(f[4].c_str());
        e.rgbaSha256 = f[5];
        if (std::filesystem::exists(e.path)) entries.push_back(e);
    }
    return entries;
}

}  // namespace vtest

// Paths_bench.cpp - the path functions on a 200-character path against
// equivalents written with std::string::rfind, measured in one run.
// Speed ratio = baseline time / library time; the goal is "within 3x", that
// is a ratio of at least 0.33.
#include "bench/BenchSupport.h"
#include "files/Commonfunctions.h"

#include <cstdio>
#include <string>

namespace {

using vskstr::CVskStr;
using vskbench::BestSeconds;
using vskbench::Report;

volatile int g_sink = 0;

const int kCalls = vskbench::Count(20000);
constexpr int kRounds = 7;
constexpr double kGoal = 1.0 / 3.0;
const char* const kGoalText = "within 3x";

// 200 bytes: a drive, ten folders and a file name with two full stops.
std::string Path200() {
    std::string path = "C:\\Program Files\\Voskel Tools";
    for (int i = 0; path.size() < 200 - 22; ++i)
        path += "\\folder" + std::to_string(10 + i);
    path += "\\";
    path.append(200 - path.size() - 16, 'r');
    path += "eport_24.fin.txt";
    return path;
}

// The baselines: the same results with std::string and rfind.
std::string BasePath(const std::string& path) {
    const std::size_t p = path.rfind('\\');
    return p == std::string::npos ? std::string() : path.substr(0, p + 1);
}

std::string BaseName(const std::string& path) {
    const std::size_t p = path.rfind('\\');
    return p == std::string::npos ? path : path.substr(p + 1);
}

std::string BaseExt(const std::string& path) {
    const std::string name = BaseName(path);
    const std::size_t p = name.rfind('.');
    return p == std::string::npos ? std::string() : name.substr(p + 1);
}

std::string BaseNameNoExt(const std::string& path) {
    std::string name = BaseName(path);
    const std::size_t p = name.rfind('.');
    if (p != std::string::npos)
        name.erase(p);
    return name;
}

std::string BaseChangeExt(const std::string& path, const std::string& ext) {
    return BasePath(path) + BaseNameNoExt(path) + "." + ext;
}

std::string BaseAddDirSep(const std::string& path) {
    const std::size_t p = path.rfind('\\');
    if (path.empty() || p == path.size() - 1)
        return path;
    return path + "\\";
}

// Backslashes only, absolute base without trailing separator.
std::string BaseFullPath(const std::string& base, const std::string& rel) {
    std::string result = base;
    for (std::size_t i = 0; i <= rel.size();) {
        std::size_t j = rel.find('\\', i);
        if (j == std::string::npos)
            j = rel.size();
        const std::string component = rel.substr(i, j - i);
        if (component == "..") {
            const std::size_t p = result.rfind('\\');
            if (p != std::string::npos && p > 2)
                result.erase(p);
        } else if (!component.empty() && component != ".") {
            result += '\\';
            result += component;
        }
        i = j + 1;
    }
    return result;
}

std::string BaseRelPath(const std::string& base, const std::string& path) {
    // Length of the common run of whole components.
    std::size_t common = 0;
    for (std::size_t i = 0; i <= base.size() && i <= path.size(); ++i) {
        const bool baseEnd = i == base.size() || base[i] == '\\';
        const bool pathEnd = i == path.size() || path[i] == '\\';
        if (baseEnd && pathEnd)
            common = i;
        if (baseEnd != pathEnd || (!baseEnd && base[i] != path[i]))
            break;
        if (i == base.size() || i == path.size())
            break;
    }
    std::string result;
    for (std::size_t p = base.size(); p > common; p = base.rfind('\\', p - 1))
        result += "..\\";
    if (common < path.size())
        result += path.substr(common + 1);
    else if (!result.empty())
        result.pop_back();
    return result.empty() ? "." : result;
}

template <typename Library, typename Baseline>
void Compare(const char* name, Library library, Baseline baseline) {
    const double librarySeconds = BestSeconds(kRounds, [&] {
        for (int i = 0; i < kCalls; ++i)
            g_sink += library().Length();
    });
    const double baselineSeconds = BestSeconds(kRounds, [&] {
        for (int i = 0; i < kCalls; ++i)
            g_sink += static_cast<int>(baseline().size());
    });
    Report(name, librarySeconds / kCalls, baselineSeconds / kCalls, kGoal, kGoalText);
}

} // namespace

int main() {
    const std::string path = Path200();
    const CVskStr vpath(path.c_str());
    std::printf("path of %u bytes: %s\n", static_cast<unsigned>(path.size()), path.c_str());
    if (path.size() != 200)
        return 1;

    Compare("ExtractFilePath vs rfind", [&] { return vsk::ExtractFilePath(vpath); },
            [&] { return BasePath(path); });
    Compare("ExtractFileName vs rfind", [&] { return vsk::ExtractFileName(vpath); },
            [&] { return BaseName(path); });
    Compare("ExtractFileExt vs rfind", [&] { return vsk::ExtractFileExt(vpath); },
            [&] { return BaseExt(path); });
    Compare("ExtractFileNameNoExt vs rfind", [&] { return vsk::ExtractFileNameNoExt(vpath); },
            [&] { return BaseNameNoExt(path); });
    const CVskStr vext("log");
    const std::string ext("log");
    Compare("ChangeFileExt vs rfind", [&] { return vsk::ChangeFileExt(vpath, vext); },
            [&] { return BaseChangeExt(path, ext); });
    Compare("AddDirSep vs rfind", [&] { return vsk::AddDirSep(vpath); }, [&] { return BaseAddDirSep(path); });

    // A relative path that climbs two folders and goes down two; the second
    // path shares the first 8 folders with the base.
    const std::string folder = BasePath(path).substr(0, BasePath(path).size() - 1);
    const std::string rel = "..\\..\\other\\.\\sub\\file.txt";
    const CVskStr vfolder(folder.c_str());
    const CVskStr vrel(rel.c_str());
    Compare("MakeFullPath vs rfind", [&] { return vsk::MakeFullPath(vfolder, vrel); },
            [&] { return BaseFullPath(folder, rel); });
    const std::string target = BaseFullPath(folder, "..\\..\\other\\sub\\file.txt");
    const CVskStr vtarget(target.c_str());
    Compare("MakeRelPath vs rfind", [&] { return vsk::MakeRelPath(vfolder, vtarget); },
            [&] { return BaseRelPath(folder, target); });

    // The baselines must give the library's answers, or the comparison means nothing.
    const auto same = [](const CVskStr& a, const std::string& b) { return std::string(a.c_str(), a.Length()) == b; };
    const bool agree = same(vsk::ExtractFilePath(vpath), BasePath(path)) &&
                       same(vsk::ExtractFileName(vpath), BaseName(path)) &&
                       same(vsk::ExtractFileExt(vpath), BaseExt(path)) &&
                       same(vsk::ExtractFileNameNoExt(vpath), BaseNameNoExt(path)) &&
                       same(vsk::ChangeFileExt(vpath, vext), BaseChangeExt(path, ext)) &&
                       same(vsk::AddDirSep(vpath), BaseAddDirSep(path)) &&
                       same(vsk::MakeFullPath(vfolder, vrel), BaseFullPath(folder, rel)) &&
                       same(vsk::MakeRelPath(vfolder, vtarget), BaseRelPath(folder, target));
    std::printf("baselines give the library's results: %s\n", agree ? "yes" : "NO");
    return vskbench::Finish(agree ? 0 : 1);
}

#include "scanner/scan_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <ostream>
#include <vector>

#include "frame/module_objects.h"
#include "libs/talutils/tdfile.h"
#include "scanner/record_format.h"
#include "scanner/scan_diff.h"
#include "sources/category_tree.h"

namespace scanner {
namespace {

struct Arguments {
    Format format = Format::kJsonLines;
    std::string output;
    std::vector<std::string> categories;
    std::string language;
    std::string offlineRoot;
    std::string user;
    bool listCategories = false;
    std::string before;
    std::string after;
};

// Writes records to the file named, or to out; false with a message when the file can't be made.
bool Emit(const std::vector<ScanRecord>& records, const Arguments& args, std::ostream& out,
          std::ostream& err) {
    if (args.output.empty()) {
        WriteRecords(records, args.format, out);
        return true;
    }
    std::ofstream file(args.output, std::ios::binary | std::ios::trunc);
    if (file) WriteRecords(records, args.format, file);
    if (!file) {
        err << "vistrel-scan: cannot write " << args.output << '\n';
        return false;
    }
    return true;
}

bool ReadScan(const std::string& path, std::vector<ScanRecord>* records, std::ostream& err) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        err << "vistrel-scan: cannot read " << path << '\n';
        return false;
    }
    std::string error;
    if (!ReadRecords(file, records, &error)) {
        err << "vistrel-scan: " << path << " is not a scan in JSON Lines (" << error << ")\n";
        return false;
    }
    return true;
}

int RunDiff(const Arguments& args, std::ostream& out, std::ostream& err) {
    std::vector<ScanRecord> before, after;
    if (!ReadScan(args.before, &before, err) || !ReadScan(args.after, &after, err))
        return kExitUsage;
    const std::vector<ScanRecord> changes = DiffScans(before, after);
    if (!Emit(changes, args, out, err)) return kExitUsage;
    return changes.empty() ? kExitComplete : kExitIncomplete;
}

// The progress line: rewritten in place, cleared at the end.
class Progress {
  public:
    Progress(std::ostream& err, bool enabled) : err_(err), enabled_(enabled) {}
    ~Progress() { Show(""); }
    void Show(const std::string& text) {
        if (!enabled_) return;
        std::string line = text.substr(0, 78);
        const std::size_t width = line.size();
        line.resize(std::max(width, shown_), ' ');
        err_ << '\r' << line << '\r' << std::flush;
        shown_ = width;
    }

  private:
    std::ostream& err_;
    bool enabled_;
    std::size_t shown_ = 0;
};

int RunScan(const Arguments& args, const FrontDoor& door, std::ostream& out, std::ostream& err) {
    std::unique_ptr<platform::Machine> offline;
    // Listing the categories reads no machine, so it needs no image either.
    const bool needsImage = !(args.listCategories && args.offlineRoot.empty());
    if ((door.openOffline || door.offlineMissing) && needsImage) {
        if (args.offlineRoot.empty()) {
            err << "vistrel-scan: name the mounted Windows folder with --offline DIR\n";
            return kExitUsage;
        }
        if (door.offlineMissing) {
            err << "vistrel-scan: offline analysis is not built into this program\n";
            return kExitUsage;
        }
        std::string error;
        offline = door.openOffline(args.offlineRoot, args.user, &error);
        if (!offline) {
            err << "vistrel-scan: " << args.offlineRoot << ": " << error << '\n';
            return kExitUsage;
        }
    }
    // The language file is read through the host's files, before the scanned machine is in.
    const std::string language = args.language.empty() ? door.defaultLanguage : args.language;
    if (door.loadLanguage && !language.empty() && !door.loadLanguage(language) &&
        !args.language.empty()) {
        err << "vistrel-scan: cannot read the language file " << language << '\n';
        return kExitUsage;
    }
    platform::Machine* previous = offline ? platform::SetMachine(offline.get()) : nullptr;

    int status = kExitComplete;
    {
        CVistrelMainPlugin root;
        const std::vector<std::string> known = CategoryKeys(root);
        for (const std::string& key : args.categories) {
            if (std::find(known.begin(), known.end(), key) == known.end()) {
                err << "vistrel-scan: no category " << key << " (--list-categories shows them)\n";
                status = kExitUsage;
            }
        }
        if (status == kExitComplete && args.listCategories) {
            for (const std::string& key : known) out << key << '\n';
        } else if (status == kExitComplete) {
            Progress progress(err, door.progressTerminal);
            ScanOptions options;
            options.categories = args.categories;
            options.offline = offline != nullptr;
            options.progress = [&progress](const std::string& path) { progress.Show(path); };
            const ScanResult result = ScanTree(root, options);
            progress.Show("");
            for (const ScanRecord& record : result.records)
                if (!record.status.empty() && record.status != "not_found" &&
                    record.status != "offline")
                    err << "vistrel-scan: " << record.category.back() << ": " << record.statusText
                        << '\n';
            if (!Emit(result.records, args, out, err))
                status = kExitUsage;
            else if (result.incomplete)
                status = kExitIncomplete;
        }
    }
    if (offline) platform::SetMachine(previous);
    return status;
}

}  // namespace

int RunScanCommand(int argc, const char* const* argv, const FrontDoor& door, std::ostream& out,
                   std::ostream& err) {
    Arguments args;
    CLI::App app{door.openOffline || door.offlineMissing
                     ? "Lists every autostart entry of a Windows folder mounted on this system."
                     : "Lists every autostart entry and the running processes of this machine."};
    app.name("vistrel-scan");
    // Options given after "diff" still belong to the program: format and output apply to both.
    app.fallthrough();
    std::string formatName = "jsonl";
    app.add_option("--format", formatName, "jsonl (the default) or csv")
        ->check(CLI::IsMember({"jsonl", "csv"}));
    app.add_option("-o,--output", args.output, "write the records to FILE");
    app.add_option("--lang", args.language, "the language file of the display texts");
    app.add_option("--category", args.categories,
                   "scan only this category (a text key), with everything below it; repeatable");
    app.add_flag("--list-categories", args.listCategories, "print the categories' keys");
    if (door.openOffline || door.offlineMissing) {
        app.add_option("--offline", args.offlineRoot, "the mounted folder that holds Windows")
            ->check(CLI::ExistingDirectory);
        app.add_option("--user", args.user, "the profile read as the current user");
    }
    CLI::App* diff = app.add_subcommand("diff", "what appeared and disappeared between two scans");
    diff->add_option("OLD", args.before, "the earlier scan (JSON Lines)")->required();
    diff->add_option("NEW", args.after, "the later scan (JSON Lines)")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return kExitComplete;
    } catch (const CLI::ParseError& error) {
        err << "vistrel-scan: " << error.what() << '\n';
        return kExitUsage;
    }
    args.format = formatName == "csv" ? Format::kCsv : Format::kJsonLines;
    if (diff->parsed()) return RunDiff(args, out, err);
    return RunScan(args, door, out, err);
}

}  // namespace scanner

// From stored text (a command line, a kernel path, a bare or relative name, a name without
// extension, a text with environment variables) to the file on disk that Windows would load.
//
// A file exists here only when files().FindFirst finds an entry without the directory
// attribute. All results are true when a file was found. out is the caller's string.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Walks text from the left; at each blank, and at the end, asks ResolveFilePath whether what has
// gathered so far is a file. Quoted parts are copied without their quotes and without testing.
// true: out is the found file. false: out holds the last candidate tried, or is untouched when
// text is null, empty or blanks only.
// rememberAnswers: within one candidate a path is looked up once and its answer used again, and
// a name longer than any volume holds isn't looked up; false asks the file system at every
// step. Both give the same results.
bool ResolveCommandLine(const char16_t* text, std::u16string& out, bool rememberAnswers = true);

// Tests the candidate as it stands, then with its prefix replaced and its variables expanded,
// then through LocateFile. false: out is the candidate normalised and expanded.
bool ResolveFilePath(std::u16string_view candidate, std::u16string& out,
                     bool rememberAnswers = true);

// Replaces a known prefix ("\SystemRoot", "\??\", "file://", ...) at the start of text. Always
// true; out is text itself when no prefix matches.
bool NormalizePathPrefix(std::u16string_view text, std::u16string& out);

// A candidate with a drive part goes to TryExecutableExtensions, any other (UNC included) to
// FindOnSearchPath; gives their result.
bool LocateFile(std::u16string_view candidate, std::u16string& out);

// Looks for name in each search folder in turn: the name as it stands, then with each
// executable suffix, before the next folder. false: out is name.
bool FindOnSearchPath(std::u16string_view name, std::u16string& out);

// Appends ".exe", ".com", ".bat" in turn (also to a name that has an extension). false: out is
// path.
bool TryExecutableExtensions(std::u16string_view path, std::u16string& out);

// The parts of a path as _wsplitpath_s gives them. drive is "X:" or empty (a UNC path has no
// drive); dir runs up to and including the last slash or backslash; ext starts at the last dot
// of the name part.
struct PathParts {
    std::u16string drive;
    std::u16string dir;
    std::u16string fname;
    std::u16string ext;
};
// Each part has room for 259 characters as in a 260-character buffer. When one doesn't fit,
// every part is empty and the result is false.
bool SplitPath(std::u16string_view path, PathParts& parts);

// The search folders in their order, each with a trailing backslash; built on first use and
// again whenever found empty.
const std::vector<std::u16string>& PathSearchFolders();
// Drops the three tables so the next use builds them from the current machine (for tests that
// switch machines).
void ResetPathResolutionTables();

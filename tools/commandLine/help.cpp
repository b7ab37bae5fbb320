#include "tools/commandLine/help.h"

#include "tools/base/errors.h"
#include "tools/build.h"
#include "tools/commandLine/optionTable.h"
#include "tools/volume/formatTable.h"

#include <string_view>

namespace lorb::tools {
namespace {

constexpr std::string_view summary = "exact signed distance maps of medical volumes, slice by slice";

struct Example {
  std::string_view command, meaning;
};
constexpr Example examples[] = {
    {"lorb-distance ct/ --above 300 -o bone.nii.gz", "bone in a DICOM series"},
    {"lorb-distance labels.nrrd --each-label -o map.mha", "map-1.mha, map-2.mha, ..."},
    {"lorb-distance */*_mask.nii.gz --output-dir maps", "a map for each of many files"},
};

struct CodeMeaning {
  ExitCode code;
  std::string_view word, meaning;
};
constexpr CodeMeaning codes[] = {
    {ExitCode::success, "done", "All is done; warnings are no failure."},
    {ExitCode::usage, "usage", "The command line says nothing that can be done."},
    {ExitCode::input, "input", "The input can't be read or holds no usable volume."},
    {ExitCode::output, "output", "An output can't be written; what was there before is still there."},
    {ExitCode::internal, "internal", "Memory does not suffice, or the program has a bug."},
    {ExitCode::interrupted, "interrupted", "SIGINT, SIGTERM or SIGHUP ended the run."},
};

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

std::string spelled(OptionRow const& row) {
  std::string text(row.names);
  if (auto const comma = text.find(','); comma != std::string::npos) text.insert(comma + 1, " ");
  return row.argument.empty() ? text : text + " " + std::string(row.argument);
}

/// Calls `f` for every option, and `heading` before the first of each group.
template <class Heading, class F>
void forEachOption(Heading heading, F f) {
  std::string_view group;
  for (OptionRow const& row : optionTable()) {
    if (row.group != group) heading(row.group);
    group = row.group;
    f(row);
  }
}

std::string exitCodes() {
  std::string text;
  for (auto const& [code, word, meaning] : codes) {
    text += (text.empty() ? "" : ", ") + std::to_string(static_cast<int>(code)) + " " + std::string(word);
  }
  return text;
}

/// Text that roff prints as it is.
std::string roff(std::string_view text) {
  std::string result;
  for (char const c : text) {
    if (c == '\\' || c == '-') result += '\\';
    result += c;
  }
  return result;
}

std::string wordsOfTable() {
  std::string words;
  for (OptionRow const& row : optionTable()) {
    words += (words.empty() ? "" : " ") + longNameOf(row);
  }
  return words;
}

}  // namespace

std::string helpText() {
  std::string about;  // in one line, since the names say all
  std::string text = "lorb-distance: " + std::string(summary) +
                     "\n\nUsage: lorb-distance INPUT -o OUTPUT [options]\n"
                     "       lorb-distance INPUT... --output-dir DIR [options]\n"
                     "INPUT: NIfTI, MetaImage, NRRD, VTK, TIFF or PNG file, DICOM file or folder, -\n"
                     "for standard input. Distances are negative inside and positive outside.\n\n";
  forEachOption(
      [&](std::string_view group) {
        if (group != aboutGroup) text += std::string(group) + ":\n";
      },
      [&](OptionRow const& row) {
        if (row.group == aboutGroup) {
          about += (about.empty() ? "" : ", ") + spelled(row);
        } else {
          text += "  " + padded(spelled(row), 18) + std::string(row.help) + "\n";
        }
      });
  text += std::string(aboutGroup) + ": " + about + ".\nExit codes: " + exitCodes() + ".\n\nExamples:\n";
  for (Example const& example : examples) {
    text += "  " + padded(std::string(example.command), 50) + std::string(example.meaning) + "\n";
  }
  return text;
}

std::string manualPage() {
  std::string page = ".TH LORB\\-DISTANCE 1 \"" + std::string(build::date) + "\" \"lorb " +
                     std::string(build::version) + "\"\n.SH NAME\nlorb\\-distance \\- " + roff(summary) +
                     "\n.SH SYNOPSIS\n.B lorb\\-distance\nINPUT \\-o OUTPUT [options]\n.br\n.B "
                     "lorb\\-distance\nINPUT... \\-\\-output\\-dir DIR [options]\n"
                     ".SH DESCRIPTION\n";
  page +=
      "Writes, for every voxel of a volume, the distance to the boundary of an object within the voxel\\(aqs "
      "slice: from centre to centre, negative inside, positive outside, as 32-bit floats, in the input\\(aqs "
      "place in space.\n.PP\nINPUT is a file with one of the extensions " +
      roff(readableExtensions()) + ", a folder of DICOM files, or \\- for " +
      namesOf([](VolumeFormat const& format) { return format.extensionFor != nullptr; }) +
      " data on standard input. OUTPUT has "
      "one of the extensions " +
      roff(writableExtensions()) +
      ", or is \\- for NRRD data on standard output. Files are written beside their place and put there in "
      "one step: an interrupted or failed run leaves what was there.\n";
  page += ".SH OPTIONS\n";
  forEachOption([&](std::string_view group) { page += ".SS " + std::string(group) + "\n"; },
                [&](OptionRow const& row) {
                  page += ".TP\n.B " + roff(spelled(row)) + "\n" + roff(row.help) + ".\n" + roff(row.more) +
                          (row.more.empty() ? "" : "\n");
                });
  page += ".SH EXIT STATUS\n";
  for (auto const& [code, word, meaning] : codes) {
    page += ".TP\n.B " + std::to_string(static_cast<int>(code)) + "\n" + roff(meaning) + "\n";
  }
  page += ".SH EXAMPLES\n";
  for (Example const& example : examples) {
    page += ".TP\n.B " + roff(example.command) + "\n" + roff(example.meaning) + "\n";
  }
  return page;
}

std::string bashCompletion() {
  std::string script =
      "# Completion of lorb-distance for bash.\n"
      "_lorb_distance_words() { mapfile -t COMPREPLY < <(compgen -W \"$1\" -- \"$word\"); }\n"
      "_lorb_distance_files() {\n"
      "  compopt -o filenames\n"
      "  mapfile -O ${#COMPREPLY[@]} -t COMPREPLY < <(compgen -f -- \"$word\")\n"
      "}\n"
      "_lorb_distance() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
      "  COMPREPLY=()\n"
      "  case $before in\n";
  for (OptionRow const& row : optionTable()) {
    if (row.argument.empty()) continue;
    std::string names(row.names), words(row.words);
    if (auto const comma = names.find(','); comma != std::string::npos) names[comma] = '|';
    auto const file = words.find(fileWord);
    if (file != std::string::npos) words.erase(file);
    script += "    " + names + ") _lorb_distance_words '" + words + "'" +
              (file == std::string::npos ? "" : "; _lorb_distance_files") + "; return ;;\n";
  }
  script +=
      "  esac\n"
      "  if [[ $word == -* ]]; then\n"
      "    _lorb_distance_words '" +
      wordsOfTable() +
      "'\n"
      "  else\n"
      "    _lorb_distance_files\n"
      "  fi\n"
      "}\n"
      "complete -F _lorb_distance lorb-distance\n";
  return script;
}

std::string versionText() {
  return "lorb-distance " + std::string(build::version) + " (" + std::string(build::compiler) + ", " +
         std::string(build::type) + ", ITK " + std::string(build::itk) +
         (build::vtk.empty() ? ", no VTK" : ", VTK " + std::string(build::vtk)) + ")";
}

}  // namespace lorb::tools

// tessellix: the library's services from the shell. Exit status 0 on
// success, 1 on bad usage, 2 when an input cannot be read or a result cannot
// be written, with one line on stderr that says why.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>

#include "tool.h"

namespace cli {

void add_files(CLI::App& command, std::string& in, std::string* out, std::string& from,
               std::string* to) {
  command.add_option("IN", in, "Mesh file to read")->required();
  if (out) command.add_option("OUT", *out, "File to write, replaced only when whole")->required();
  command.add_option("--from", from, "Format of IN when its extension does not tell");
  if (to) command.add_option("--to", *to, "Format of OUT when its extension does not tell");
}

}  // namespace cli

int main(int argc, char** argv) {
  CLI::App app("Inspects, converts, cleans, measures and grades meshes with qz4tessellix.",
               "tessellix");
  app.set_version_flag("--version", std::string("tessellix ") + qz4::tessellix::version());
  app.add_flag("-q,--quiet", cli::quiet, "No progress and no notes on stderr");
  app.require_subcommand(1);
  app.fallthrough();  // so that --quiet may follow the command
  app.footer(
      "Formats by extension: .stl, .obj, .mesh/.meshb (MEDIT), .vtk, .case/.geo (EnSight, "
      "written only), .nas/.bdf/.dat (NASTRAN), .neu (FEMAP).\n"
      "Exit status: 0 success, 1 bad usage, 2 an input that cannot be read or a result that "
      "cannot be written.\n"
      "Example: tessellix convert part.stl part.vtk\n");
  cli::add_info(app);
  cli::add_convert(app);
  cli::add_clean(app);
  cli::add_quality(app);
  cli::add_grade(app);
  cli::add_transform(app);
  cli::watch_memory();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? cli::success : cli::usage;
  } catch (const cli::failure& f) {
    std::fprintf(stderr, "tessellix: %s\n", f.message.c_str());
    return f.status;
  } catch (const std::bad_alloc&) {
    // Scratch containers of the library may throw when memory runs out.
    std::fprintf(stderr, "tessellix: the machine's memory ran out\n");
    return cli::file_error;
  }
  return cli::success;
}

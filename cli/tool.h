// What the commands of `tessellix` share: the mesh as the tool holds it, the
// file formats by name and extension, messages and exit statuses, progress on
// stderr, and output files that appear only when they are whole.
#ifndef TESSELLIX_CLI_TOOL_H
#define TESSELLIX_CLI_TOOL_H

#include <chrono>
#include <string>
#include <vector>

#include "qz4/tessellix.h"

namespace CLI {
class App;
}

namespace cli {

using qz4::dense1D;
using qz4::dense2D;
using qz4::element_type;

// ---------------------------------------------------------------------------
// Exit statuses and messages.
// ---------------------------------------------------------------------------

/// 2: an input that cannot be read or a result that cannot be written.
enum exit_status { success = 0, usage = 1, file_error = 2 };

/// Thrown by the commands, caught in main: the status to exit with and the
/// one line that goes to stderr.
struct failure {
  int status;
  std::string message;
};

[[noreturn]] void fail(int status, const std::string& message);

/// Set by --quiet: no progress and no notes on stderr.
extern bool quiet;

/// A note on stderr that is not a failure (cells a reader passed over).
void note(const std::string& text);

/// printf into a std::string.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

/// One stage of a command (read, weld, topology, quality, write): when stderr
/// is a terminal and --quiet is not given, done() prints its name, what it
/// did and the time it took.
class stage {
 public:
  explicit stage(const char* name);
  void done(const std::string& what);

 private:
  const char* name_;
  std::chrono::steady_clock::time_point start_;
};

/// Counts the storage blocks the machine refused, so that a -199 of the
/// library can be told apart: past the 4 GB limit of one block (which never
/// reaches the allocator) or out of memory.
void watch_memory();
/// Words for a -199 of the library: the machine's memory ran out, or a size
/// met the block limit, with what fits.
std::string memory_words();

// ---------------------------------------------------------------------------
// Formats.
// ---------------------------------------------------------------------------

enum class file_format { stl, obj, medit, medit_solution, vtk, ensight, nastran, femap, none };

/// The format of a file: from `forced` when given (a name or an extension,
/// from --from or --to), else from the file's extension. Usage failure when
/// neither tells.
file_format format_of(const std::string& path, const std::string& forced, const char* option);
/// "STL", "MEDIT", "NASTRAN"...
const char* format_name(file_format f);

/// Lower-case name of a kind without "ET_": "tria3", "hexa8".
const char* kind_name(element_type type);
/// 0 nodes, 1 lines, 2 faces, 3 solids.
unsigned kind_dimension(element_type type);

// ---------------------------------------------------------------------------
// The mesh.
// ---------------------------------------------------------------------------

/// Nodes and the elements in blocks of one pure kind each; `groups` holds a
/// number per element where the file had one (deck properties, MEDIT
/// references) and is empty otherwise.
struct mesh {
  dense2D<double> pos;
  std::vector<dense2D<unsigned>> conn;
  std::vector<element_type> kind;
  std::vector<dense1D<unsigned>> groups;
  unsigned skipped = 0;  // cells of the file that have no element kind here
  std::string variety;   // the format as read: "binary STL"

  unsigned elements() const;
  dense1D<int> flags() const;
  void add(const dense2D<unsigned>& c, element_type k, const dense1D<unsigned>& g = {});
};

/// Reads a mesh; failure 2 with the file, the format and the reason.
mesh read_mesh(const std::string& path, file_format f);

struct write_options {
  bool ascii = false;  // text STL
};

class output_file;
/// Writes a mesh into an output file. Refuses (failure 2) the kinds the
/// format cannot hold.
void write_mesh(const mesh& m, const output_file& out, file_format f, const write_options& o);
/// A legacy VTK file through the library's stream form, with one value per
/// element of each block as cell data when `cell_values` is given. Status 0,
/// -1 when writing failed, or a status of vtk_convert.
int write_vtk(const mesh& m, const char* file, const std::vector<dense1D<double>>* cell_values);

/// Nodes and elements, for the progress lines.
std::string mesh_words(const mesh& m);

// ---------------------------------------------------------------------------
// Views of a mesh for the topology and quality services.
// ---------------------------------------------------------------------------

/// The elements of the highest dimension as one connectivity that the
/// topology services serve: a linear kind, ET_FACE_MIXED or ET_SOLID_MIXED,
/// corners only; its columns follow the blocks in order.
struct top_view {
  dense2D<unsigned> conn;
  element_type kind = qz4::ET_NONE;
  unsigned dimension = 0;
};
top_view top_elements(const mesh& m);

/// The linear kind of the same shape: ET_TETRA10 gives ET_TETRA4.
element_type linear_kind(element_type type);

/// The shape quality of every element of each block (quadratic kinds by
/// their corners; nodes and lines get none), one vector per block.
std::vector<dense1D<double>> block_qualities(const mesh& m);

/// The bins of a histogram as a text bar chart, with the values below its
/// range (inverted elements) and the non-numbers.
std::string bar_chart(const qz4::misc::histogram& h);

/// Fails with status 2 and the words of a library status (-199 included).
void check_status(int status, const std::string& doing);

// ---------------------------------------------------------------------------
// Files.
// ---------------------------------------------------------------------------

/// An output file made under a temporary name in the target folder and
/// renamed into place by commit(); removed when not committed, also when the
/// program is interrupted. An EnSight .case file brings its geometry file
/// (.geo beside it), which the writer fills, and is written by commit().
class output_file {
 public:
  output_file(const std::string& path, file_format f);
  ~output_file();
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;
  const char* temp() const { return temp_.c_str(); }
  const std::string& path() const { return path_; }
  void commit();

 private:
  std::string path_, target_, temp_, case_temp_;
  bool committed_ = false;
};

/// Usage failure when `out` names the same file as `in` (same inode).
void refuse_same_file(const std::string& in, const std::string& out);

/// A file's reason of failure to open for reading, or "" when it opens.
std::string open_error(const std::string& path);
/// The size in bytes, -1 when unknown.
long long file_size(const std::string& path);

/// What a reader is handed: a copy of a text file in the temporary folder
/// with CR LF turned into LF (`crlf`) and a newline added at the end when
/// missing (`final_newline`), or the file itself when nothing changes.
class text_copy {
 public:
  text_copy(const std::string& path, bool crlf, bool final_newline);
  ~text_copy();
  text_copy(const text_copy&) = delete;
  text_copy& operator=(const text_copy&) = delete;
  const char* name() const { return name_.c_str(); }

 private:
  std::string name_, temp_;
};

// ---------------------------------------------------------------------------
// Commands: each registers its subcommand.
// ---------------------------------------------------------------------------

void add_info(CLI::App& app);
void add_convert(CLI::App& app);
void add_clean(CLI::App& app);
void add_quality(CLI::App& app);
void add_grade(CLI::App& app);
void add_transform(CLI::App& app);

/// The file arguments most commands share: IN, OUT when `out` is given, and
/// --from / --to for formats their extensions do not tell.
void add_files(CLI::App& command, std::string& in, std::string* out, std::string& from,
               std::string* to);

}  // namespace cli

#endif

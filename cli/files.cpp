// Files: outputs that appear whole or not at all, the same-file check, and
// the copies of text files that the readers are handed.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tool.h"

namespace cli {

namespace {

// Temporary files alive at this moment, removed by the signal handler: plain
// arrays, as a handler may only call what is async-signal-safe.
constexpr int max_temps = 4;
char temps[max_temps][4096];

void forget(const std::string& name) {
  for (auto& t : temps)
    if (name == t) t[0] = '\0';
}

void on_signal(int sig) {
  for (auto& t : temps)
    if (t[0]) unlink(t);
  signal(sig, SIG_DFL);
  raise(sig);
}

// A fresh file beside `target`, named after it, and remembered for the
// signal handler from before it exists: the name, or "" with errno set.
std::string make_temp(const std::string& target) {
  const std::size_t slash = target.rfind('/') + 1;  // 0 without a folder
  const std::string pattern =
      target.substr(0, slash) + "." + target.substr(slash) + ".tessellix-XXXXXX";
  static const bool handlers = [] {
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) signal(sig, on_signal);
    return true;
  }();
  (void)handlers;
  for (auto& t : temps) {
    if (t[0] || pattern.size() >= sizeof t) continue;
    // The name is complete before the slot counts as taken (its first byte).
    std::memcpy(t + 1, pattern.c_str() + 1, pattern.size());
    std::atomic_signal_fence(std::memory_order_seq_cst);
    t[0] = pattern[0];
    const int fd = mkstemp(t);
    if (fd < 0) {
      const int error = errno;
      t[0] = '\0';
      errno = error;
      return "";
    }
    close(fd);
    return t;
  }
  errno = ENAMETOOLONG;
  return "";
}

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

output_file::output_file(const std::string& path, file_format f) : path_(path), target_(path) {
  const std::size_t dot = path.rfind('.');
  const std::string extension = dot == std::string::npos ? "" : path.substr(dot);
  if (extension == ".meshb" || extension == ".solb")
    fail(usage,
         format("the library writes MEDIT text: give %s", path.substr(0, path.size() - 1).c_str()));
  const bool with_case = f == file_format::ensight && extension == ".case";
  if (with_case) target_ = path.substr(0, dot) + ".geo";
  temp_ = make_temp(target_);
  if (!temp_.empty() && with_case) case_temp_ = make_temp(path_);
  if (temp_.empty() || (with_case && case_temp_.empty()))
    fail(file_error, format("cannot write %s (%s): %s in folder %s", path.c_str(), format_name(f),
                            std::strerror(errno), folder_of(path).c_str()));
}

output_file::~output_file() {
  for (const std::string* t : {&temp_, &case_temp_})
    if (!t->empty()) {
      if (!committed_) unlink(t->c_str());
      forget(*t);
    }
}

void output_file::commit() {
  if (!case_temp_.empty()) {
    // The case file names the geometry beside it.
    const std::size_t slash = target_.rfind('/');
    std::FILE* f = std::fopen(case_temp_.c_str(), "w");
    if (!f ||
        std::fprintf(f, "FORMAT\ntype: ensight\n\nGEOMETRY\nmodel: %s\n",
                     target_.c_str() + (slash == std::string::npos ? 0 : slash + 1)) < 0 ||
        std::fclose(f) != 0)
      fail(file_error, format("cannot write %s: %s", path_.c_str(), std::strerror(errno)));
  }
  // The mode a new file would have, or the mode of the file replaced.
  const mode_t mask = umask(0);
  umask(mask);
  for (const auto& [temp, path] : {std::pair(temp_, target_), std::pair(case_temp_, path_)}) {
    if (temp.empty()) continue;
    struct stat st;
    chmod(temp.c_str(), stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0666 & ~mask);
    if (std::rename(temp.c_str(), path.c_str()) != 0)
      fail(file_error, format("cannot write %s: %s", path.c_str(), std::strerror(errno)));
  }
  committed_ = true;
}

void refuse_same_file(const std::string& in, const std::string& out) {
  struct stat a, b;
  if (stat(in.c_str(), &a) == 0 && stat(out.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
      a.st_ino == b.st_ino)
    fail(usage,
         format("%s is the input file %s: give another output file", out.c_str(), in.c_str()));
}

std::string open_error(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return "it is a folder";
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return std::strerror(errno);
  std::fclose(f);
  return "";
}

long long file_size(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? (long long)st.st_size : -1;
}

text_copy::text_copy(const std::string& path, bool crlf, bool final_newline) : name_(path) {
  std::FILE* in = std::fopen(path.c_str(), "rb");
  if (!in) return;
  // First pass: is there anything to change?
  char buf[1 << 16];
  bool change = false;
  char last = '\n', before = '\0';
  for (std::size_t n; !change && (n = std::fread(buf, 1, sizeof buf, in)) > 0;) {
    for (std::size_t i = 0; crlf && i < n && !change; ++i)
      change = buf[i] == '\n' && (i ? buf[i - 1] : before) == '\r';
    before = buf[n - 1];
    last = buf[n - 1];
  }
  if (!change && final_newline && last != '\n') change = true;
  if (!change) {
    std::fclose(in);
    return;
  }
  const char* dir = std::getenv("TMPDIR");
  temp_ = make_temp(std::string(dir && *dir ? dir : "/tmp") + "/copy");
  std::FILE* out = temp_.empty() ? nullptr : std::fopen(temp_.c_str(), "wb");
  if (!out) {
    std::fclose(in);
    return;
  }
  std::rewind(in);
  bool cr = false;  // a CR held back until the next byte shows whether LF follows
  last = '\n';
  std::string o;
  for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, in)) > 0;) {
    o.clear();
    for (std::size_t i = 0; i < n; ++i) {
      if (cr && !(crlf && buf[i] == '\n')) o += '\r';
      cr = buf[i] == '\r';
      if (!cr) o += buf[i];
    }
    std::fwrite(o.data(), 1, o.size(), out);
    last = buf[n - 1];
  }
  if (cr) std::fputc('\r', out);
  if (final_newline && last != '\n') std::fputc('\n', out);
  std::fclose(in);
  if (std::fclose(out) == 0) name_ = temp_;
}

text_copy::~text_copy() {
  if (!temp_.empty()) {
    unlink(temp_.c_str());
    forget(temp_);
  }
}

}  // namespace cli

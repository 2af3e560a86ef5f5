// The buffered streams under every reader and writer, against the C library:
// numbers as printf writes them and as atof, atoi and strtol read them, lines
// and binary reads across block refills.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "files.h"
#include "formats/text_io.h"

using namespace qz4::tessellix::io;

TEST(TextWriter, NumbersAsPrintfWritesThem) {
  // Signed zeros, halfway cases, extremes, subnormals, infinities and NaNs,
  // powers of ten, random bit patterns and random scaled integers.
  std::vector<double> values;
  char list[] =
      "0 -0 1 -1 0.5 9.9999995 9.5 0.95 999999.5 1e300 -1e-300 5e-324 2.2250738585072014e-308 "
      "1.7976931348623157e308 inf -inf nan -nan 1e21 123456789012 999999999999999.9 1e15 "
      "9.99999999999e-13 99999.99999";
  for (char* p = list; *p;) values.push_back(std::strtod(p, &p));
  // Every decade of the doubles, both signs, mantissas that round up, down
  // and to even at each precision.
  for (int e = -300; e <= 300; ++e)
    for (double m : {1.0, 1.5, 2.5, 9.999999999, 3.14159265358979, 7.0000005, 5.55555555555})
      values.push_back(m * std::pow(10.0, e)), values.push_back(-m * std::pow(10.0, e));
  for (double sub : {4.9406564584124654e-324, 1e-310, -2.5e-320}) values.push_back(sub);
  std::mt19937_64 rng(7);
  for (int i = 0; i < 3000; ++i) {
    const std::uint64_t bits = rng();
    std::memcpy(&values.emplace_back(), &bits, sizeof bits);
    values.push_back(std::ldexp(double(rng() % 2000001) - 1e6, int(rng() % 80) - 40));
    values.push_back((double(rng() % 2000001) - 1e6) / double(1 + rng() % 1000));
  }
  const std::string path = scratch("writer.txt");
  std::string expected;
  std::FILE* f = std::fopen(path.c_str(), "w");
  {
    text_writer w(f);
    char buf[2048];
    for (char c : {'e', 'E', 'f', 'g', 'G'})
      for (int p : {0, 1, 5, 6, 9, 10, 16})
        for (double d : values) {
          if (c == 'f' && std::fabs(d) > 1e40) continue;
          const char pattern[] = {'%', '*', '.', '*', c, '|', '\0'};
          std::snprintf(buf, sizeof buf, pattern, 12, p, d);
          expected += buf;
          w.put_double(d, c, p, 12);
          w.put('|');
        }
    // Integers and their widths are pinned by the files that use them.
    std::string long_line(3u << 20, 'x');  // wider than the buffer: written straight through
    expected += long_line + "7\n";
    w.printf("%s%d\n", long_line.c_str(), 7);
  }
  std::fclose(f);
  EXPECT_TRUE(slurp(path) == expected);
}

TEST(TextConversion, SameValuesAsTheCLibrary) {
  // Signs, blanks, partial exponents, hex, inf and nan spellings,
  // out-of-range values and integers at the edges of int and long, then
  // random ones.
  std::vector<std::string> texts;
  std::istringstream list(
      "\n \n+\n-\n.\n1\n+1\n-1\n+-1\n \t\v12x\n1e\n1e+\n1.5e3\n-.5\n1.\n0x1p3\n-0X1P-2\n"
      "+0x10\ninf\n-Infinity\nnan\nNAN(123)\n1e400\n-1e-400\n4.9e-324\n00012\n2147483648\n"
      "-2147483649\n9223372036854775807\n9223372036854775808\n-9223372036854775808\n"
      "-99999999999999999999\n12 34");
  for (std::string t; std::getline(list, t);) texts.push_back(t);
  std::mt19937 rng(3);
  char buf[64];
  for (int i = 0; i < 2000; ++i) {
    std::snprintf(buf, sizeof buf, "%.*g", int(rng() % 18) + 1,
                  std::ldexp(double(rng()) - 2147483648.0, int(rng() % 600) - 300));
    texts.push_back(buf);
    texts.push_back(std::to_string(int(rng())));
  }
  for (const std::string& t : texts) {
    const char* b = t.data();
    const double want = std::atof(t.c_str()), got = ascii_to_double(b, b + t.size());
    EXPECT_TRUE(std::memcmp(&want, &got, sizeof want) == 0 || (std::isnan(want) && std::isnan(got)))
        << t;
    EXPECT_EQ(std::strtol(t.c_str(), nullptr, 10), ascii_to_long(b, b + t.size())) << t;
    EXPECT_EQ(std::atoi(t.c_str()), ascii_to_int(b, b + t.size())) << t;
  }
  // The end of the range is the end of the text, whatever follows in memory.
  EXPECT_EQ(12.0, ascii_to_double("12345", "12345" + 2));
  EXPECT_EQ(123, ascii_to_int("12345", "12345" + 3));
}

// Lines across blocks, one longer than a block, then binary reads of 1000
// bytes at a time that span refills and end with the file.
TEST(BlockReader, LinesThenBinaryAcrossRefills) {
  std::vector<std::string> lines = {"", "a\r", std::string(3u << 20, 'L'), ""};
  for (int i = 0; i < 200000; ++i) lines.push_back(std::to_string(i * 7919));
  std::string bytes = "last without newline";
  for (std::size_t i = 0; i < (3u << 20); ++i) bytes += char(i * 7 % 251);
  std::FILE* f = std::tmpfile();
  for (const std::string& l : lines) std::fprintf(f, "%s\n", l.c_str());
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::rewind(f);
  block_reader r(f);
  std::string_view line;
  std::size_t n = 0;
  while (n < lines.size() && r.next_line(line)) EXPECT_EQ(lines[n++], line);
  EXPECT_EQ(lines.size(), n);
  std::string got;
  char chunk[4096];
  for (std::size_t k; (k = r.read(chunk, 1000)) > 0; got.append(chunk, k)) ASSERT_LE(k, 1000u);
  EXPECT_TRUE(got == bytes);
  EXPECT_FALSE(r.next_line(line));
  EXPECT_FALSE(r.failed());
  std::fclose(f);
  // A last line without its end still counts, and says so.
  f = std::tmpfile();
  std::fputs("x\ny", f);
  std::rewind(f);
  block_reader s(f);
  std::vector<std::string> two;
  while (two.size() < 3 && s.next_line(line)) two.emplace_back(line);
  EXPECT_EQ(two, (std::vector<std::string>{"x", "y"}));
  EXPECT_TRUE(s.unterminated());
  std::fclose(f);
}

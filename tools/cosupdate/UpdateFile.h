// An update file as the tool hands it to the library: its bytes, for the
// tool's own checks, and a stream over the same bytes for the library, which
// reads only from a std::ifstream. "-" is standard input.

#ifndef COSUPDATE_CLI_UPDATE_FILE_H
#define COSUPDATE_CLI_UPDATE_FILE_H

#include <fstream>
#include <string>

namespace cosupdate::cli {

class UpdateFile {
  public:
    // Reads the whole file: opened before any session, so that a wrong path
    // fails before the chip is touched. Throws ToolError naming the file when
    // it cannot be read.
    static UpdateFile open(const std::string& path);

    // As the command line gave it ("-" for standard input).
    const std::string& path() const { return m_path; }
    const std::string& bytes() const { return m_bytes; }
    // At the start of the file.
    std::ifstream& stream() { return m_stream; }

  private:
    UpdateFile(std::string path, std::string bytes, std::ifstream stream)
        : m_path(std::move(path)), m_bytes(std::move(bytes)), m_stream(std::move(stream)) {}

    std::string m_path;
    std::string m_bytes;
    std::ifstream m_stream;
};

}  // namespace cosupdate::cli

#endif  // COSUPDATE_CLI_UPDATE_FILE_H

// Inputs that can be read only once: standard input ("-") and pipes. tavio's
// readers open their input by name more than once (a look at its first
// bytes, each reader's probe, a fresh open for each stream `info` examines)
// and seek in it, so a second open of a pipe would start wherever the first
// stopped reading, and audio would be lost without a word. Such an input is
// therefore first read to its end into a temporary file, which keeps the
// pipe's extension (readers tell some formats by it) and is removed when the
// object goes.
#pragma once

#include <functional>
#include <string>

class ReadOnceInput {
public:
    ReadOnceInput() = default;
    ReadOnceInput(const ReadOnceInput&) = delete;
    ReadOnceInput& operator=(const ReadOnceInput&) = delete;
    ~ReadOnceInput();

    // The name to open `input` by: `input` itself when it can be opened again
    // from its start (a file, or standard input redirected from one), else
    // the copy. Empty, with `error` set, when standard input is a terminal,
    // the copy failed or `stop` asked to stop it.
    std::string openable(const std::string& input,
                         std::string& error,
                         const std::function<bool()>& stop);

private:
    bool copy(int from,
              const std::string& extension,
              std::string& error,
              const std::function<bool()>& stop);

    std::string copy_;
};

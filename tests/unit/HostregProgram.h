// Runs the program hostreg, which lies in the installation folder beside the folder of the tests.
#pragma once

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace test
{

struct HostregResult
{
    int exitCode = -1; ///< -1: killed
    std::string out, err;
};

class Hostreg
{
public:
    /// Starts the program. @param inChild  done in the new process first; only system calls
    explicit Hostreg(
        const std::vector<std::string>& arguments, const std::string& input = {},
        const std::function<void()>& inChild = [] {})
    {
        static const std::string program =
            std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin" / "hostreg";
        std::vector<const char*> words{program.c_str()};
        for (const std::string& word : arguments)
            words.push_back(word.c_str());
        words.push_back(nullptr);
        EXPECT_EQ(static_cast<::ssize_t>(input.size()), ::pwrite(m_streams[0], input.data(), input.size(), 0));
        m_process = ::fork();
        if (m_process != 0)
            return;
        inChild();
        for (int i = 0; i < 3; ++i)
            ::dup2(m_streams[i], i);
        ::execv(program.c_str(), const_cast<char**>(words.data()));
        ::_exit(127);
    }
    ~Hostreg()
    {
        for (const int stream : m_streams)
            ::close(stream);
    }
    Hostreg(const Hostreg&) = delete;
    Hostreg& operator=(const Hostreg&) = delete;

    ::pid_t Process() const { return m_process; }
    HostregResult Wait() const
    {
        int status = 0;
        ::waitpid(m_process, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Written(m_streams[1]), Written(m_streams[2])};
    }

private:
    static int NewStream() { return ::memfd_create("stream", MFD_CLOEXEC); }
    static std::string Written(int stream)
    {
        std::string text(static_cast<std::size_t>(::lseek(stream, 0, SEEK_END)), '\0');
        EXPECT_EQ(static_cast<::ssize_t>(text.size()), ::pread(stream, text.data(), text.size(), 0));
        return text;
    }

    const int m_streams[3] = {NewStream(), NewStream(), NewStream()};
    ::pid_t m_process = -1;
};

inline HostregResult RunHostreg(
    const std::vector<std::string>& arguments, const std::string& input = {},
    const std::function<void()>& inChild = [] {})
{
    return Hostreg(arguments, input, inChild).Wait();
}

} // namespace test

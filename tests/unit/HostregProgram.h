// Runs the program hostreg, which lies in the installation folder beside the folder of the tests.
#pragma once

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace test
{

struct HostregResult
{
    int exitCode = -1; ///< -1: killed
    std::string out;
    std::string err;
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
            (std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin" / "hostreg").string();
        std::vector<std::string> words{program};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> pointers;
        for (std::string& word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);
        int pipes[3][2] = {};
        for (auto& ends : pipes)
            EXPECT_EQ(0, ::pipe2(ends, O_CLOEXEC));
        m_process = ::fork();
        if (m_process == 0)
        {
            inChild();
            ::dup2(pipes[0][0], 0);
            ::dup2(pipes[1][1], 1);
            ::dup2(pipes[2][1], 2);
            ::execv(program.c_str(), pointers.data());
            ::_exit(127);
        }
        for (const int end : {pipes[0][0], pipes[1][1], pipes[2][1]})
            ::close(end);
        EXPECT_EQ(static_cast<::ssize_t>(input.size()), ::write(pipes[0][1], input.data(), input.size()));
        ::close(pipes[0][1]);
        m_out = pipes[1][0];
        m_err = pipes[2][0];
    }

    ::pid_t Process() const { return m_process; }

    HostregResult Wait() const
    {
        HostregResult result;
        std::thread reader([&] { result.err = ReadAll(m_err); });
        result.out = ReadAll(m_out);
        reader.join();
        int status = 0;
        ::waitpid(m_process, &status, 0);
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }

private:
    static std::string ReadAll(int descriptor)
    {
        std::string text;
        char piece[4096];
        for (::ssize_t count = 0; (count = ::read(descriptor, piece, sizeof(piece))) > 0;)
            text.append(piece, static_cast<std::size_t>(count));
        ::close(descriptor);
        return text;
    }

    ::pid_t m_process = -1;
    int m_out = -1;
    int m_err = -1;
};

inline HostregResult RunHostreg(
    const std::vector<std::string>& arguments, const std::string& input = {},
    const std::function<void()>& inChild = [] {})
{
    return Hostreg(arguments, input, inChild).Wait();
}

} // namespace test

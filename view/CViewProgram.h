#pragma once
#include "view/ViewCommand.h"
#include <functional>
#include <memory>
#include <string>

/// Sends one notice to the receiver that the command names. @throws std::runtime_error if it is not taken.
void TestNotice(const SViewCommand& p_command);

/// The program: all its parts, in the order in which they need each other.
///
/// Threads  construction and Run: main. The live state is fed by the client library's threads, HTTP has that of Run, its
///          answers two workers, the memory one.
class CViewProgram
{
  public:
    /// Reads the configuration, opens the memory, listens. @throws std::runtime_error with one line.
    explicit CViewProgram(const SViewCommand& p_command);
    ~CViewProgram();
    CViewProgram(const CViewProgram&) = delete;
    CViewProgram& operator=(const CViewProgram&) = delete;

    /// "http://127.0.0.1:8480/".
    std::string Address() const;
    /// Until Stop, or a signal to end. @param p_fnAlive called once a second.
    void Run(const std::function<void()>& p_fnAlive);

  private:
    struct SParts;
    std::unique_ptr<SParts> m_pParts;
};

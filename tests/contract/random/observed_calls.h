// What a call leaves behind in the process, whatever it answers.
#pragma once

#include <string>
#include <vector>

namespace roads {

// Scopes of the trace as they open and close. Takes the runtime's trace from its construction to its end.
class Scopes {
  public:
    Scopes();
    Scopes(const Scopes&) = delete;
    Scopes& operator=(const Scopes&) = delete;
    ~Scopes();

    // Empty, or what was wrong: a scope that is still open, or one that closed out of turn.
    const std::string& fault();
    long opened() const { return opened_; }

  private:
    static void receive(void* self, int level, const char* plugin, const char* text);
    void take(const char* text);

    std::vector<std::string> open_;
    std::string fault_;
    long opened_ = 0;
};

int threads();
int descriptors();
// Has the process a child, running or not yet waited for?
bool hasChild();
// The leak checker's word now; false where there is none.
bool leaks();

}  // namespace roads

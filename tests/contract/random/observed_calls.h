// What a call leaves behind in the process, whatever it answers.
#pragma once

#include <string>

namespace roads {

// Scopes of the trace as they open and close. Takes the runtime's trace from its construction to its end. Receiving a
// line allocates nothing, so that it works where memory has run out.
class Scopes {
  public:
    Scopes();
    Scopes(const Scopes&) = delete;
    Scopes& operator=(const Scopes&) = delete;
    ~Scopes();

    // Empty, or what was wrong: a scope that is still open, or one that closed out of turn.
    std::string fault() const;
    long opened() const { return opened_; }

  private:
    static void receive(void* self, int level, const char* plugin, const char* text);
    void take(const char* text);

    static constexpr int kDeepest = 32;
    static constexpr int kLongest = 128;

    char open_[kDeepest][kLongest] = {};
    int depth_ = 0;
    char outOfTurn_[kLongest] = {};
    long opened_ = 0;
};

int threads();
int descriptors();
// Has the process a child, running or not yet waited for?
bool hasChild();
// Until the children that were killed have ended; they stay to be waited for.
void awaitKilledChildren();
// The leak checker's word now; false where there is none.
bool leaks();

}  // namespace roads

// An operator new that fails. The test program defines the operators, and so the libraries that it loads use them.
#pragma once

namespace roads {

// From now on the n-th allocation fails, once; 0: none.
void failAllocation(int n);
// Has it failed? Nothing fails afterwards.
bool stopFailing();

}  // namespace roads

// One object of a class per plug-in.
#pragma once

#include <atomic>

#include "cfismartptr.h"

// Context is the plug-in's own tag (FI_PLUGIN_NAME, cfiplugincontext.h): plug-ins in one process share nothing.
template <typename T, typename Context>
class CFiContextSingleton {
  public:
    // destroy false: a counted reference, to a new object when there is none. destroy true: drops the singleton's own
    // reference (the object goes with its last one) and answers null. Creation is guarded; destruction is for the
    // thread that ends the plug-in. What is left at library unload is released then.
    static CFiSmartPtr<T> instance(bool destroy) {
        if (destroy) {
            if (Holder* holder = published_.load(std::memory_order_acquire)) {
                holder->object.reset();
            }
            return {};
        }
        static Holder holder;  // the language guards the creation of the first object
        if (!holder.object) {
            holder.object = makeCounted<T>();
        }
        return holder.object;
    }

  private:
    struct Holder {
        Holder() : object(makeCounted<T>()) { published_.store(this, std::memory_order_release); }
        CFiSmartPtr<T> object;
    };

    // Null until the first object is made: a destroy that comes before it does nothing.
    static inline std::atomic<Holder*> published_{nullptr};
};

// Runs a clean-up when the scope it guards is left by an exception.
#pragma once

#include <exception>
#include <utility>

namespace zq {

// A `reuse` changes tables, layouts and the window one after the other; when a
// later step throws, the earlier ones no longer match the rest of the object.
// The guard's action brings the object to a state whose `produce` refuses to
// run (or writes nothing) instead of running kernels over mismatched state.
template <typename Action>
class OnFailure {
public:
    explicit OnFailure(Action action)
        : _action(std::move(action)), _exceptions(std::uncaught_exceptions()) {}
    ~OnFailure() {
        if (std::uncaught_exceptions() > _exceptions) _action();
    }
    OnFailure(const OnFailure&) = delete;
    OnFailure& operator=(const OnFailure&) = delete;

private:
    Action _action;
    int _exceptions;
};

// What a scaling stage keeps after a failed reuse: no window, so that produce
// refuses at its first row; and, when the tables changed but the layouts did
// not follow, no sizes either, so that the next reuse rebuilds the tables
// instead of trusting tables made for other extents.
template <typename StageState>
void abandonStage(StageState& state, bool layouts_stored) {
    state._window.clear();
    if (layouts_stored) return;
    state._src_layout.clear();
    state._dst_layout.clear();
}

}  // namespace zq

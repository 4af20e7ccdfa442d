// Cases that a broken coroutine implementation gets wrong without a word. Each counts constructions and
// destructions of what a coroutine was given: a temporary must live as long as the frame that uses it, and
// be destroyed exactly once. The exit status is the number of the first failing case.
#include <array>
#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace {

int live = 0;

struct Tracked {
    explicit Tracked(std::string v) : value(std::move(v)), self(this) { ++live; }
    Tracked(const Tracked &other) : value(other.value), self(this) { ++live; }
    Tracked(Tracked &&other) noexcept : value(std::move(other.value)), self(this) { ++live; }
    Tracked &operator=(const Tracked &) = default;
    ~Tracked() {
        if (self != this)
            broken = true;
        self = nullptr;
        --live;
    }
    std::string value;
    const Tracked *self;
    static bool broken;
};
bool Tracked::broken = false;

struct Aggregate {
    Tracked first;
    Tracked second;
};

std::coroutine_handle<> parked;

struct Park {
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) noexcept { parked = handle; }
    void await_resume() const noexcept {}
};

struct Task {
    struct promise_type {
        std::string result;
        std::coroutine_handle<> waiter;
        Task get_return_object() { return Task{std::coroutine_handle<promise_type>::from_promise(*this)}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        struct Final {
            bool await_ready() const noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<promise_type> h) noexcept {
                return h.promise().waiter ? h.promise().waiter : std::noop_coroutine();
            }
            void await_resume() const noexcept {}
        };
        Final final_suspend() noexcept { return {}; }
        void return_value(std::string s) { result = std::move(s); }
        void unhandled_exception() { std::terminate(); }
    };
    explicit Task(std::coroutine_handle<promise_type> h) : handle(h) {}
    Task(Task &&other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    Task(const Task &) = delete;
    Task &operator=(const Task &) = delete;
    Task &operator=(Task &&) = delete;
    ~Task() {
        if (handle)
            handle.destroy();
    }
    bool await_ready() const noexcept { return handle.done(); }
    void await_suspend(std::coroutine_handle<> waiter) noexcept { handle.promise().waiter = waiter; }
    std::string await_resume() { return std::move(handle.promise().result); }
    std::coroutine_handle<promise_type> handle;
};

Task aggregate(Aggregate a) {
    co_await Park{};
    co_return a.first.value + a.second.value;
}
Task boxed(std::unique_ptr<Aggregate> a) {
    co_await Park{};
    co_return a->first.value + a->second.value;
}
Task maybe(std::optional<Aggregate> a) {
    co_await Park{};
    co_return a->first.value + a->second.value;
}
Task several(std::array<Tracked, 2> a) {
    co_await Park{};
    co_return a[0].value + a[1].value;
}
Task callback(std::function<std::string()> f) {
    co_await Park{};
    co_return f();
}
Task text(std::string s) {
    co_await Park{};
    co_return s;
}

const std::string a = "a string that is too long for the small buffer, first";
const std::string b = "a string that is too long for the small buffer, second";

Task temporaryAggregate() { co_return co_await aggregate(Aggregate{Tracked{a}, Tracked{b}}); }
Task temporaryInBox() {
    co_return co_await boxed(std::make_unique<Aggregate>(Aggregate{Tracked{a}, Tracked{b}}));
}
Task temporaryInOptional() { co_return co_await maybe(Aggregate{Tracked{a}, Tracked{b}}); }
Task temporaryArray() { co_return co_await several({Tracked{a}, Tracked{b}}); }
Task temporaryLambda() {
    Tracked t{a + b};
    co_return co_await callback([t] { return t.value; });
}
Task conditional(bool yes) {
    std::string s = yes ? co_await text(a + b) : std::string();
    co_return s;
}

bool works(Task task) {
    while (!task.handle.done())
        parked.resume();
    return task.handle.promise().result == a + b && !Tracked::broken;
}

} // namespace

int main() {
    if (!works(temporaryAggregate()) || live != 0)
        return 1;
    if (!works(temporaryInBox()) || live != 0)
        return 2;
    if (!works(temporaryInOptional()) || live != 0)
        return 3;
    if (!works(temporaryArray()) || live != 0)
        return 4;
    if (!works(temporaryLambda()) || live != 0)
        return 5;
    if (!works(conditional(true)) || live != 0)
        return 6;
    return 0;
}

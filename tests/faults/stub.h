// How a stub is made of a function: it goes on to the function, or fails in its way.
#ifndef QUARN_TESTS_FAULTS_STUB_H_
#define QUARN_TESTS_FAULTS_STUB_H_

#include "tests/faults/faults.h"

namespace faults {

// Stands for a function of this type; `Tag` is there for no other.
template <class Tag, class R, class... A>
struct Stub {
  static inline const char* name = nullptr;
  static inline Kind kind = kKinds;
  static inline R (*real)(A...) = nullptr;
  static inline R (*fail)(A...) = nullptr;                   // Null: it does not fail by itself.
  static inline bool (*before)(const char* name) = nullptr;  // Answers whether the call does nothing.

  static R Call(A... arguments) {
    if (before && before(name)) return R();
    if (fail && Decide(kind, name) == Fate::kFails) return fail(arguments...);
    return real(arguments...);
  }
};

template <class T>
struct AsIs {
  using Type = T;
};

template <class Tag, class R, class... A>
Import MakeImport(const char* name, Kind kind, bool (*before)(const char*), R (*real)(A...),
                  typename AsIs<R (*)(A...)>::Type fail) {
  using TheStub = Stub<Tag, R, A...>;
  TheStub::name = name;
  TheStub::kind = kind;
  TheStub::before = before;
  TheStub::real = real;
  TheStub::fail = fail;
  return {name, reinterpret_cast<void*>(&TheStub::Call)};
}

}  // namespace faults

// An Import of `function`, which `fail`, a function that takes the same, stands in for when it is to fail.
#define QUARN_FAULT(function, kind, before, fail)                                 \
  [] {                                                                            \
    struct Tag {};                                                                \
    return ::faults::MakeImport<Tag>(#function, kind, before, &(function), fail); \
  }()
// The same with what it answers then; `answer` has the function's type.
#define QUARN_FAULT_ANSWER(function, kind, before, answer) \
  QUARN_FAULT(function, kind, before, [](auto...) { return answer; })

#endif  // QUARN_TESTS_FAULTS_STUB_H_

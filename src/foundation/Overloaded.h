#pragma once

namespace tavrin {

// A set of lambdas as one visitor: std::visit(Overloaded{[](const A&) {...}, [](const B&) {...}}, v).
// A case without a lambda does not compile.
template <class... Ts> struct Overloaded : Ts... { using Ts::operator()...; };
template <class... Ts> Overloaded(Ts...) -> Overloaded<Ts...>;

} // namespace tavrin

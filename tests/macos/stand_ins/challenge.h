// A server that shows its certificate.
#pragma once

#include <string>

namespace kelvo::test {

// What the adapter's delegate of the URL loader does about it, which GNUstep's never asks: "trusts"
// or "asks the system". `method`: how the server wants the other side to prove itself.
std::string AnswerToChallenge(bool allowsAnyCertificate, const std::string& method);
// The method of a server's own certificate.
std::string ServerTrustMethod();

}  // namespace kelvo::test

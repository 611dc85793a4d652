// How a host can observe reports of broken contracts inside the library.
#pragma once

/// Optional: a host program that defines this function (and exports it, as an executable linked with the
/// library does) is called for every failed internal check instead of a line being written to the error
/// stream. The library goes on afterwards. May be called from any thread; must not throw.
/// @param inExpression what did not hold. @param inSourcePath, inLine where it was checked.
extern "C" void Pavlin_OnContractViolation(const char* inExpression, const char* inSourcePath, int inLine);

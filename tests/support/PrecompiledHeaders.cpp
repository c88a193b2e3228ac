// Carries the precompiled headers; they need a target of their own.

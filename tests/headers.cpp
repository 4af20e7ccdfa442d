// Carries the precompiled headers.

// Keeps object libraries non-empty while their folder has no sources.

// Stands in for a subsystem that has no sources yet.

# Placeholder until the bundle backend lands.

# What an installed Quarn consists of.

# HTTP - HyperText Transfer Protocol

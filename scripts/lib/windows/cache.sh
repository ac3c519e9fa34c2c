# Where downloads and what is built once are kept: outside the checkout, shared by all checkouts.
kavo_cache=${KAVO_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/kavo}

#!/bin/sh
# launcher.sh COMPILER ARGUMENT...: compiles for a project that adds this one. The objects of the libraries are those of the
# build tree BUILT_TREE, which has made them of the same sources already.
for argument; do
  [ "$before" = -o ] && output=$argument
  before=$argument
done
made=$BUILT_TREE/${output#*qfcore-build/}
case $output in
  *qfcore-build/*.o) [ -f "$made" ] && exec cp "$made" "$output" ;;
esac
exec "$@"

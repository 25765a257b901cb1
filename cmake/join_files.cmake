# l3_join_files(target initials...): compiles the target's files whose names begin with neighbouring letters as
# one, where instantiating headers is most of the work. Names in their anonymous namespaces are unlike each other,
# then; the groups are by letters so that a new file joins no others anew.
function(l3_join_files target)
  get_target_property(sources ${target} SOURCES)
  foreach(initials IN LISTS ARGN)
    set(group ${sources})
    list(FILTER group INCLUDE REGEX "/[${initials}][^/]*$")
    set_source_files_properties(${group} PROPERTIES UNITY_GROUP ${initials})
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${L3_JOIN_FILES} UNITY_BUILD_MODE GROUP)
endfunction()

if(FACEFEATURE_SANITIZE)
  add_compile_options(-fsanitize=${FACEFEATURE_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${FACEFEATURE_SANITIZE})
endif()

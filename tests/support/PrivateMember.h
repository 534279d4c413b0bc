#ifndef TESTS_SUPPORT_PRIVATEMEMBER_H
#define TESTS_SUPPORT_PRIVATEMEMBER_H

/**
 * Lets a test look at a member that its class keeps to itself, without a hook
 * in the class: access is not checked where a template is instantiated by name.
 *
 *     REVEAL(nameOf, TranslatorProxy, name)
 *     ... handle.*nameOf() ...
 */
template <typename Tag, auto Member>
struct PrivateMember
{
    friend constexpr auto revealed(Tag /*which*/) { return Member; }
};

#define REVEAL(function, Class, member)                                                            \
    struct function##Tag                                                                           \
    {                                                                                              \
        friend constexpr auto revealed(function##Tag);                                             \
    };                                                                                             \
    template struct PrivateMember<function##Tag, &Class::member>;                                  \
    constexpr auto function()                                                                      \
    {                                                                                              \
        return revealed(function##Tag());                                                          \
    }

#endif

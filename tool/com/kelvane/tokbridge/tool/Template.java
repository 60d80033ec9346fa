package com.kelvane.tokbridge.tool;

/** Attributes as the library takes them: an array of types and one of values. */
final class Template {
    final int[] types;
    final Object[] values;

    private Template(int size) {
        types = new int[size];
        values = new Object[size];
    }

    /** Builds a template from attribute types and values in turn. */
    static Template of(Object... typesAndValues) {
        Template template = new Template(typesAndValues.length / 2);
        for (int i = 0; i < template.types.length; i++) {
            template.types[i] = (Integer) typesAndValues[2 * i];
            template.values[i] = typesAndValues[2 * i + 1];
        }
        return template;
    }

    /** Builds a template of these attributes and more. */
    Template and(Object... typesAndValues) {
        Template more = of(typesAndValues);
        Template both = new Template(types.length + more.types.length);
        System.arraycopy(types, 0, both.types, 0, types.length);
        System.arraycopy(values, 0, both.values, 0, types.length);
        System.arraycopy(more.types, 0, both.types, types.length, more.types.length);
        System.arraycopy(more.values, 0, both.values, types.length, more.types.length);
        return both;
    }
}
